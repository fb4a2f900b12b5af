#include "methods/Bicgstab.h"

#include <algorithm>
#include <array>
#include <cmath>

namespace gensolver {

namespace {

// The dot product of a and b, summed per chunk in chunk order, then over the
// processes that share the system.
double dot(Parallel& pool, const KrylovOperator& system, const std::vector<double>& a,
           const std::vector<double>& b) {
    return system.sum(pool.sum(a.size(), [&](std::uint64_t begin, std::uint64_t end) {
        double s = 0.0;
        for (std::uint64_t i = begin; i < end; ++i)
            s += a[i] * b[i];
        return s;
    }));
}

// One run of the method; the vectors are its scratch space.
class Run {
public:
    Run(Parallel& pool, const KrylovProblem& problem)
        : pool_(pool), problem_(problem), n_(problem.system->rows()), r_(n_), shadow_(n_), p_(n_),
          v_(n_), pHat_(n_), s_(n_), sHat_(n_), t_(n_) {}

    bool met(double weighted, double total) const {
        return weighted <= problem_.relativeTarget * (problem_.absolute ? 1.0 : total);
    }

    void multiply(const std::vector<double>& x, std::vector<double>& y) {
        if (problem_.transposed)
            problem_.system->multiplyTransposed(pool_, x, y);
        else
            problem_.system->multiply(pool_, x, y);
    }
    void precondition(const std::vector<double>& v, std::vector<double>& z) {
        if (problem_.transposed)
            problem_.preconditioner->applyTransposed(pool_, v, z);
        else
            problem_.preconditioner->apply(pool_, v, z);
    }

    // The weighted term of r_i for measure(): |r_i| times its weight, or for an
    // absolute target |r_i| itself, gathered as a maximum.
    void addResidualTerm(double& to, double ri, std::uint64_t i) const {
        const std::vector<double>& w = *problem_.weight;
        if (problem_.absolute)
            to = std::max(to, std::fabs(ri));
        else
            to += std::fabs(ri) * (w.empty() ? 1.0 : w[i]);
    }

    // One pass over the chunks of [0, n): body(begin, end, partial) updates the
    // chunk's vectors and adds its terms into partial (three, from 0). The
    // partials are combined in chunk order as Parallel::sum combines them (the
    // first as a maximum when firstIsMax), so each result has the bits of a pass
    // of its own: the loops below fuse the method's updates with the sums that
    // follow them, reading the vectors once instead of twice.
    template <class Body> std::array<double, 3> fused(Body&& body, bool firstIsMax) {
        const std::uint64_t count = Parallel::chunks(n_);
        partials_.resize(count);
        pool_.forParts(count, [&](std::uint64_t c) {
            std::array<double, 3> a{};
            const std::uint64_t begin = c * Parallel::kChunk;
            body(begin, std::min(n_, begin + Parallel::kChunk), a);
            partials_[c] = a;
        });
        std::array<double, 3> total{};
        for (std::uint64_t c = 0; c < count; ++c) {
            total[0] = firstIsMax ? std::max(total[0], partials_[c][0]) : total[0] + partials_[c][0];
            total[1] += partials_[c][1];
            total[2] += partials_[c][2];
        }
        return total;
    }

    // The measures of a fused pass: the weighted (or largest) residual term and
    // the sum of x, each over every process.
    void combine(const std::array<double, 3>& t, double& weighted, double& total) {
        weighted = problem_.absolute ? problem_.system->max(t[0]) : problem_.system->sum(t[0]);
        total = problem_.system->sum(t[1]);
    }

    // Weighted norm of r and the sum of x.
    void measure(const std::vector<double>& x, const std::vector<double>& r, double& weighted,
                 double& total) {
        combine(fused(
                    [&](std::uint64_t begin, std::uint64_t end, std::array<double, 3>& a) {
                        for (std::uint64_t i = begin; i < end; ++i) {
                            addResidualTerm(a[0], r[i], i);
                            a[1] += x[i];
                        }
                    },
                    problem_.absolute),
                weighted, total);
    }

    // r = rhs - B x, measured. The system's own residual is summed in long double
    // (KrylovOperator::residual).
    void residual(const std::vector<double>& x, double& weighted, double& total) {
        const std::vector<double>& b = *problem_.rhs;
        if (problem_.transposed) {
            multiply(x, t_);
            pool_.forEach(n_, [&](std::uint64_t begin, std::uint64_t end) {
                for (std::uint64_t i = begin; i < end; ++i)
                    r_[i] = b[i] - t_[i];
            });
        } else {
            problem_.system->residual(pool_, b, x, r_);
        }
        measure(x, r_, weighted, total);
    }

    // Iterates until the recurrence's residual meets the target; false when it
    // stagnated or broke down first.
    bool iterate(std::vector<double>& x, KrylovResult& result) {
        double weighted = 0.0, total = 0.0;
        residual(x, weighted, total);
        if (met(weighted, total))
            return true;
        shadow_ = r_;
        std::fill(p_.begin(), p_.end(), 0.0);
        std::fill(v_.begin(), v_.end(), 0.0);
        double rho = 1.0, alpha = 1.0, omega = 1.0;
        double best = weighted;
        best_ = x;
        std::uint64_t bestAt = result.iterations;
        // shadow . r for the next iteration, summed in the pass that updates r.
        double carried = 0.0;
        bool haveCarried = false;
        while (result.iterations < problem_.maxIterations &&
               result.iterations - bestAt < problem_.patience) {
            ++result.iterations;
            const double rhoNext =
                haveCarried ? carried : dot(pool_, *problem_.system, shadow_, r_);
            haveCarried = false;
            if (rhoNext == 0.0 || !std::isfinite(rhoNext))
                break;
            const double beta = (rhoNext / rho) * (alpha / omega);
            rho = rhoNext;
            pool_.forEach(n_, [&](std::uint64_t begin, std::uint64_t end) {
                for (std::uint64_t i = begin; i < end; ++i)
                    p_[i] = r_[i] + beta * (p_[i] - omega * v_[i]);
            });
            precondition(p_, pHat_);
            multiply(pHat_, v_);
            const double sv = dot(pool_, *problem_.system, shadow_, v_);
            if (sv == 0.0 || !std::isfinite(sv))
                break;
            alpha = rho / sv;
            combine(fused(
                        [&](std::uint64_t begin, std::uint64_t end, std::array<double, 3>& a) {
                            for (std::uint64_t i = begin; i < end; ++i) {
                                s_[i] = r_[i] - alpha * v_[i];
                                x[i] += alpha * pHat_[i];
                                addResidualTerm(a[0], s_[i], i);
                                a[1] += x[i];
                            }
                        },
                        problem_.absolute),
                    weighted, total);
            if (met(weighted, total))
                return true;
            precondition(s_, sHat_);
            multiply(sHat_, t_);
            const std::array<double, 3> products = fused(
                [&](std::uint64_t begin, std::uint64_t end, std::array<double, 3>& a) {
                    for (std::uint64_t i = begin; i < end; ++i) {
                        a[0] += t_[i] * t_[i];
                        a[1] += t_[i] * s_[i];
                    }
                },
                false);
            const double tt = problem_.system->sum(products[0]);
            const double ts = problem_.system->sum(products[1]);
            omega = tt > 0.0 ? ts / tt : 0.0;
            if (omega == 0.0 || !std::isfinite(omega))
                break;
            const std::array<double, 3> updated = fused(
                [&](std::uint64_t begin, std::uint64_t end, std::array<double, 3>& a) {
                    for (std::uint64_t i = begin; i < end; ++i) {
                        x[i] += omega * sHat_[i];
                        r_[i] = s_[i] - omega * t_[i];
                        addResidualTerm(a[0], r_[i], i);
                        a[1] += x[i];
                        a[2] += shadow_[i] * r_[i];
                    }
                },
                problem_.absolute);
            combine(updated, weighted, total);
            carried = problem_.system->sum(updated[2]);
            haveCarried = true;
            if (met(weighted, total))
                return true;
            if (weighted < best) {
                best = weighted;
                bestAt = result.iterations;
                best_ = x;
            }
        }
        // The residuals of the method rise and fall: the best iterate is kept.
        x.swap(best_);
        return false;
    }

private:
    Parallel& pool_;
    const KrylovProblem& problem_;
    std::uint64_t n_;
    std::vector<double> r_, shadow_, p_, v_, pHat_, s_, sHat_, t_;
    std::vector<std::array<double, 3>> partials_; // per chunk, a fused pass's terms
    std::vector<double> best_; // the iterate of the smallest residual
};

} // namespace

KrylovResult bicgstab(Parallel& pool, const KrylovProblem& problem, std::vector<double>& x) {
    Run run(pool, problem);
    KrylovResult result;
    double previous = 0.0;
    for (int attempt = 0; attempt < 8; ++attempt) {
        run.iterate(x, result);
        run.residual(x, result.weighted, result.total);
        result.converged = run.met(result.weighted, result.total);
        if (result.converged || result.iterations >= problem.maxIterations ||
            (attempt > 0 && !(result.weighted < 0.5 * previous)))
            break;
        previous = result.weighted;
    }
    return result;
}

} // namespace gensolver
