#pragma once
// The multiprocessor model's global variables: written by the study, read by the SAN
// and the reward model.

extern int K;             // number of processors
extern double lambda;     // failure rate of one working processor
extern double mu;         // repair rate of the one repairman
extern double rho;        // reboot rate after an uncovered failure
extern double coverage;   // probability that a failure is covered
extern double crash_cost; // cost of one uncovered failure
