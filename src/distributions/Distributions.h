#pragma once
// Distributions: turns uniform numbers into samples of activity delay
// distributions. Each method draws its uniforms from `generator` in a fixed order.

#include "distributions/RandomNumberGenerator.h"

class Distributions {
public:
    Distributions();
    ~Distributions();
    Distributions(const Distributions&) = delete;
    Distributions& operator=(const Distributions&) = delete;

    double Exponential(double rate);
    double Deterministic(double value);
    double Uniform(double a, double b);
    double Geometric(double p);
    double Weibull(double alpha, double beta);
    double ConditionalWeibull(double alpha, double beta, double t);
    double Normal(double mean, double variance);
    double Lognormal(double mean, double variance);
    double Erlang(double k, double mean);
    double Gamma(double alpha, double beta);
    double Beta(double a, double b);
    double Triangular(double a, double b, double c);
    double Binomial(double n, double p);
    double NegativeBinomial(double r, double p);
    double HyperExponential(int n, double* phases);
    double HypoExponential(int n, double* rates);
    double Pareto(double xm, double alpha);

    RandomNumberGenerator* generator; // owned

private:
    // One candidate of the polar method inside the unit disc, of either sign.
    double polarNormal(double mean, double variance);
    // Gamma samples of scale 1 for a shape below 1 and above 1.
    double gammaBelowOne(double alpha);
    double gammaAboveOne(double alpha);
};
