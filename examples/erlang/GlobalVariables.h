#pragma once
// The two-class server model's global variables: written by the study, read by the
// SAN and the reward model.

extern int C;           // buffer capacity of each job class
extern double lambda_a; // arrival rate of class a
extern double lambda_b; // phase rate of the Erlang inter-arrival time of class b
extern double mu;       // phase rate of the Erlang service time
extern double w_a;      // weight of class a when both classes wait
extern double w_b;      // weight of class b when both classes wait
extern int k_arrival;   // phases of the inter-arrival time of class b
extern int k_service;   // phases of the service time
