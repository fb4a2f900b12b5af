#pragma once
// The shipped model's global variables: written by the study, read by the SAN.

extern double alpha;
extern double beta;
extern double lambda_i;
extern double lambda_w;
