// gen-solve under mpirun against the one-process solve of the same files: every
// value of P = 2, 3 and 4 processes (oversubscribed) lies within the sum of the
// two printed bounds of the one-process value, for the models that gen-solve
// solves on several processes, from the text files and from the binary parts (the
// shipped model, stiff, goes to process 0 and is checked in the last test).
// The one-process solve is itself checked against closed forms by the tool tests.
// Also: what the distributed solve refuses, or hands to process 0, it says in
// one line.

#include "support/TestSupport.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <cstring>
#include <fstream>
#include <iterator>
#include <map>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

namespace {

using testsupport::binary;
using testsupport::run;
using testsupport::TempDir;

struct Value {
    double value = 0.0;
    double bound = 0.0;
    bool converged = false;
    std::string method;
};
// Values by variable, type and interval.
using Values = std::map<std::string, Value>;

// Splits one CSV line (the method, last, may be quoted and hold commas).
std::vector<std::string> fields(const std::string& line) {
    std::vector<std::string> out;
    std::string cell;
    bool quoted = false;
    for (const char c : line) {
        if (c == '"')
            quoted = !quoted;
        else if (c == ',' && !quoted) {
            out.push_back(cell);
            cell.clear();
        } else
            cell += c;
    }
    out.push_back(cell);
    return out;
}

Values parse(const std::string& csv) {
    Values values;
    std::istringstream in(csv);
    std::string line;
    std::getline(in,
                 line); // header: variable,type,start,stop,value,error_bound,...,converged,method
    while (std::getline(in, line)) {
        const auto f = fields(line);
        if (f.size() < 11)
            continue;
        Value v;
        v.value = std::stod(f[4]);
        v.bound = std::stod(f[5]);
        v.converged = f[9] == "1";
        v.method = f[10];
        values[f[0] + "," + f[1] + "," + f[2] + "," + f[3]] = v;
    }
    return values;
}

// Open MPI keeps blocks until the process ends, which a sanitizer build's leak
// check would report as leaks of gen-solve: the check is off for the processes
// mpirun starts. A run that hangs ends after two minutes with status 124.
// mpirun's session folders go under a base of this test process's own: under
// the one in /tmp that every mpirun shares, two tests that ctest runs side by
// side can remove it under each other.
std::string mpirun(int processes) {
    static const testsupport::TempDir sessions;
    return std::string("OMPI_ALLOW_RUN_AS_ROOT=1 OMPI_ALLOW_RUN_AS_ROOT_CONFIRM=1 "
                       "ASAN_OPTIONS=${ASAN_OPTIONS:+$ASAN_OPTIONS:}detect_leaks=0 "
                       "OMPI_MCA_orte_tmpdir_base=") +
           sessions.path() + " timeout 120 " + GEN_MPIRUN + " --oversubscribe -np " +
           std::to_string(processes) + " ";
}

const std::string kOptions = " --format csv --steady --transient uniformization ";

void expectAgree(const Values& one, const Values& many, const std::string& what) {
    ASSERT_EQ(one.size(), many.size()) << what;
    ASSERT_FALSE(one.empty()) << what;
    for (const auto& [key, a] : one) {
        const auto found = many.find(key);
        ASSERT_NE(found, many.end()) << what << " " << key;
        const Value& b = found->second;
        EXPECT_TRUE(b.converged) << what << " " << key;
        // Rounding of the printed 17 digits aside, the two bounds must cover
        // the difference.
        const double slack = 4e-16 * std::max(std::fabs(a.value), 1.0);
        EXPECT_LE(std::fabs(a.value - b.value), a.bound + b.bound + slack)
            << what << " " << key << ": " << a.value << " vs " << b.value;
    }
}

// Whether every long-run value of `values` came from the distributed BiCGSTAB.
bool longRunByBicgstab(const Values& values) {
    int longRun = 0;
    for (const auto& [key, v] : values) {
        if (v.method.rfind("limit, ", 0) != 0)
            continue;
        ++longRun;
        if (v.method.find("BiCGSTAB+ILU(0) per process") == std::string::npos)
            return false;
    }
    return longRun > 0;
}

TEST(DistributedSolveTest, AgreesWithOneProcessWithinTheBounds) {
    struct Model {
        const char* executable;
        std::vector<int> processes;
    };
    const Model models[] = {
        {"gen-kanban", {2, 3, 4}}, {"gen-polling", {2}}, {"gen-multiproc", {3}},
        {"gen-tandem", {4}},       {"gen-erlang", {2}},
    };
    for (const Model& m : models) {
        TempDir dir;
        const std::string stem = dir.path() + "x";
        ASSERT_EQ(run(binary(m.executable) + " -P" + dir.path() + " -Nx -B0").status, 0);
        const auto one = run(binary("gen-solve") + kOptions + stem);
        ASSERT_EQ(one.status, 0) << m.executable << one.err;
        const Values expected = parse(one.out);
        for (const int p : m.processes) {
            const auto many = run(mpirun(p) + binary("gen-solve") + kOptions + stem);
            ASSERT_EQ(many.status, 0) << m.executable << " P=" << p << many.err;
            const Values distributed = parse(many.out);
            expectAgree(expected, distributed,
                        std::string(m.executable) + " P=" + std::to_string(p));
            EXPECT_TRUE(longRunByBicgstab(distributed)) << m.executable << " P=" << p;
        }
    }
}

TEST(DistributedSolveTest, ReadsTheBinaryPartsWithAnyNumberOfProcesses) {
    TempDir dir;
    ASSERT_EQ(run(binary("gen-kanban") + " -P" + dir.path() + " -Nt -B0").status, 0);
    ASSERT_EQ(run(binary("gen-kanban") + " -P" + dir.path() + " -Nb -B0 --binary-rows").status, 0);
    const Values expected = parse(run(binary("gen-solve") + kOptions + dir.path() + "t").out);
    const auto many =
        run(mpirun(3) + binary("gen-solve") + kOptions + "--binary-rows " + dir.path() + "b");
    ASSERT_EQ(many.status, 0) << many.err;
    expectAgree(expected, parse(many.out), "kanban parts, P=3");
}

// Occurrences of `what` in `text`.
int count(const std::string& text, const std::string& what) {
    int n = 0;
    for (auto at = text.find(what); at != std::string::npos; at = text.find(what, at + 1))
        ++n;
    return n;
}

// Writes the text files of a chain: rows[i] lists the (target, rate) pairs of
// state i + 1; one long-run variable whose rate reward is 1 in state `rewarded`.
void writeChain(const std::string& stem,
                const std::vector<std::vector<std::pair<int, double>>>& rows, int rewarded) {
    std::ostringstream arm, var;
    arm << "1\n" << rows.size() << '\n' << std::string(61, ' ') << '\n';
    var << "v\n";
    for (std::size_t i = 0; i < rows.size(); ++i) {
        arm << i + 1 << '\n';
        for (const auto& [to, rate] : rows[i])
            arm << to << '\n' << rate << '\n';
        arm << "0\n";
        var << i + 1 << "\n0\n" << (static_cast<int>(i) + 1 == rewarded ? 1 : 0) << '\n';
    }
    std::ofstream(stem + ".arm") << arm.str();
    std::ofstream(stem + ".var") << var.str();
    std::ofstream(stem + ".pvtype")
        << "Version:1\nNumPV:1\nName:v\nType:3\nNumTimes:1\nStart:0\nStop:0\n";
}

// Where state 1 cannot be reached from every state, BiCGSTAB's system is singular
// and it must claim no bound: the power iteration gives the limit instead. State
// 1 transient (1 -> 2, 2 <-> 3 at rates 1 and 2: pi_3 = 1/3), and two closed
// classes (1 -> 2 at 1, 1 -> 3 at 3; 2 <-> 4 at 3 and 1, 3 <-> 5: the long-run
// probability of state 2 is 1/4 x 1/4).
TEST(DistributedSolveTest, WithoutABoundFromBicgstabTheLimitComesFromThePowerIteration) {
    struct Case {
        std::vector<std::vector<std::pair<int, double>>> rows;
        int rewarded;
        double exact;
    };
    const Case cases[] = {
        {{{{2, 1.0}}, {{3, 1.0}}, {{2, 2.0}}}, 3, 1.0 / 3.0},
        {{{{2, 1.0}, {3, 3.0}}, {{4, 3.0}}, {{5, 2.0}}, {{2, 1.0}}, {{3, 2.0}}}, 2, 1.0 / 16.0},
    };
    for (const Case& c : cases) {
        TempDir dir;
        writeChain(dir.path() + "c", c.rows, c.rewarded);
        const auto many =
            run(mpirun(2) + binary("gen-solve") + " --format csv " + dir.path() + "c");
        ASSERT_EQ(many.status, 0) << many.err;
        const Values values = parse(many.out);
        ASSERT_EQ(values.size(), 1u) << many.out;
        const Value& v = values.begin()->second;
        EXPECT_TRUE(v.converged) << v.method;
        EXPECT_NE(v.method.find("power iteration"), std::string::npos) << v.method;
        EXPECT_LE(std::fabs(v.value - c.exact), v.bound + 1e-15) << v.method;
    }
}

// Sets the rate of the first transition of the last state's row in the part
// `path` (a run with `variables` reward variables) to -1. The layout: a 48-byte
// header, then entries 'R' state count (target, rate) x count, 'V' state
// (impulse, rate) x variables, and 'E' the trailer.
void spoilLastRow(const std::string& path, int variables) {
    std::ifstream in(path, std::ios::binary);
    std::string bytes((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
    auto u32 = [&](std::size_t at) {
        std::uint32_t v = 0;
        std::memcpy(&v, bytes.data() + at, 4);
        return v;
    };
    std::size_t at = 48, last = 0;
    while (at < bytes.size() && bytes[at] != 'E') {
        if (bytes[at] == 'R') {
            if (u32(at + 5) > 0)
                last = at;
            at += 9 + 12 * std::size_t{u32(at + 5)};
        } else {
            at += 5 + 16 * static_cast<std::size_t>(variables);
        }
    }
    ASSERT_NE(last, 0u) << path;
    const double negative = -1.0;
    std::memcpy(bytes.data() + last + 9 + 4, &negative, 8);
    std::ofstream(path, std::ios::binary | std::ios::trunc) << bytes;
}

// A fault that one process alone meets ends every process promptly, printed once
// with the one-process message: a stem only the second process is given (two
// programs in one run), and a bad row in the last process's range, which the
// others pass over unread. A hang would end by mpirun()'s timeout.
TEST(DistributedSolveTest, AFaultInOneProcessEndsEveryProcess) {
    TempDir dir;
    const std::string solve = binary("gen-solve") + " --format csv ";
    ASSERT_EQ(run(binary("gen-kanban") + " -P" + dir.path() + " -Nx -B0").status, 0);
    const auto missing =
        run(mpirun(1) + solve + dir.path() + "x : -np 1 " + solve + dir.path() + "none");
    EXPECT_EQ(missing.status, 1) << missing.err;
    EXPECT_EQ(count(missing.err, "gen-solve: "), 1) << missing.err;
    EXPECT_EQ(count(missing.err, dir.path() + "none"), 1) << missing.err;
    EXPECT_TRUE(missing.out.empty());

    ASSERT_EQ(run(binary("gen-kanban") + " -P" + dir.path() + " -Nb -B0 --binary-rows").status, 0);
    std::ifstream pvtype(dir.path() + "b.pvtype");
    std::string line;
    int variables = 0;
    while (std::getline(pvtype, line))
        if (line.rfind("NumPV:", 0) == 0)
            variables = std::stoi(line.substr(6));
    spoilLastRow(dir.path() + "b.rows.0", variables);
    const auto one = run(solve + "--binary-rows " + dir.path() + "b");
    ASSERT_EQ(one.status, 1);
    ASSERT_NE(one.err.find("negative or not finite"), std::string::npos) << one.err;
    for (const int p : {2, 3}) {
        const auto many = run(mpirun(p) + solve + "--binary-rows " + dir.path() + "b");
        EXPECT_EQ(many.status, 1) << "P=" << p << many.err;
        EXPECT_EQ(count(many.err, "gen-solve: "), 1) << "P=" << p << many.err;
        EXPECT_NE(many.err.find(one.err), std::string::npos) << "P=" << p << many.err;
        EXPECT_TRUE(many.out.empty());
    }
}

TEST(DistributedSolveTest, SaysOnceWhatItRefusesOrSolvesOnProcessZero) {
    TempDir dir;
    ASSERT_EQ(run(binary("gen-timer") + " -P" + dir.path() + " -Nd -B0").status, 0);
    const auto det = run(mpirun(2) + binary("gen-solve") + " " + dir.path() + "d");
    EXPECT_EQ(det.status, 1);
    EXPECT_EQ(count(det.err, "gen-solve: "), 1) << det.err;
    EXPECT_EQ(count(det.err, dir.path() + "d.det"), 1) << det.err;
    EXPECT_TRUE(det.out.empty());

    const auto missing = run(mpirun(2) + binary("gen-solve") + " " + dir.path() + "none");
    EXPECT_EQ(missing.status, 1);
    EXPECT_EQ(count(missing.err, "gen-solve: "), 1) << missing.err;
    EXPECT_EQ(count(missing.err, dir.path() + "none"), 1) << missing.err;

    // The shipped model to t = 1000 is stiff and small: extrapolated on process 0.
    ASSERT_EQ(run(binary("gen") + " -P" + dir.path() + " -Ns -B0").status, 0);
    const auto stiff = run(mpirun(2) + binary("gen-solve") + " --format csv " + dir.path() + "s");
    EXPECT_EQ(stiff.status, 0) << stiff.err;
    EXPECT_EQ(count(stiff.err, "solved on process 0 alone"), 1) << stiff.err;
    const auto one = run(binary("gen-solve") + " --format csv " + dir.path() + "s");
    EXPECT_EQ(stiff.out, one.out);

    // Its long-run value: the power iteration cannot converge on rates 1e-7 to 1e4
    // within 2000 steps, so the chain is gathered on process 0 and solved there.
    const std::string steady = " --format csv --max-sweeps 2000 " + dir.path() + "s";
    std::ofstream(dir.path() + "s.pvtype", std::ios::trunc)
        << "Version:1\nNumPV:1\nName:reliability\nType:3\nNumTimes:1\nStart:0\nStop:0\n";
    const auto gathered = run(mpirun(2) + binary("gen-solve") + steady);
    EXPECT_EQ(gathered.status, 0) << gathered.err;
    // The table's limit line says how the limit was reached (CSV has no such line).
    const auto table =
        run(mpirun(2) + binary("gen-solve") + " --max-sweeps 2000 " + dir.path() + "s");
    EXPECT_EQ(count(table.out, "did not converge in 2000 steps; solved on process 0 alone"), 1)
        << table.out;
    expectAgree(parse(run(binary("gen-solve") + steady).out), parse(gathered.out),
                "shipped, gathered limit");
}

} // namespace
