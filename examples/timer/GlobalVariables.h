#pragma once
// The sensor-report model's global variables: written by the study, read by the SAN
// and the reward model.

extern int R;       // retransmissions before a report is given up
extern double P;    // reporting period
extern double T;    // acknowledgement timeout
extern double mu;   // rate at which a delivered report is acknowledged
extern double loss; // probability that the link loses a transmission
