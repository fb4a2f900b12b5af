// gen-sim: simulates the model it is built with and prints every measure with
// its confidence interval.

#include "SimMain.h"

int main(int argc, char** argv) {
    return runSimulator(argc, argv);
}
