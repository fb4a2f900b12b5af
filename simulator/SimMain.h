#pragma once
// The whole of gen-sim behind its main(): parses the command line, sets up the
// study's experiment, simulates the model that GenerateStudy() builds and
// prints the estimates. Returns the exit status: 0, 1 on an error (one line on
// standard error), 2 when a relative half-width asked for was not reached.
int runSimulator(int argc, char** argv);
