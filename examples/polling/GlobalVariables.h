#pragma once
// The polling model's global variables: written by the study, read by the SAN.

extern int N; // number of stations
