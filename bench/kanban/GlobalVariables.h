#pragma once
// The kanban model's global variables: written by the study, read by the SAN.

extern int N; // kanban cards per station
