// gen-compile: compiles a model file into the generated classes of its model.
//
//   gen-compile [-o <directory>] [--check] <model-file>

#include "Compiler.h"

#include <cstring>
#include <iostream>
#include <string>

namespace {

int usage() {
    std::cerr << "usage: gen-compile [-o <directory>] [--check] <model-file>\n";
    return 1;
}

} // namespace

int main(int argc, char** argv) {
    std::string output = ".";
    std::string model;
    bool checkOnly = false;
    for (int i = 1; i < argc; ++i) {
        if (std::strcmp(argv[i], "-o") == 0) {
            if (++i >= argc)
                return usage();
            output = argv[i];
        } else if (std::strcmp(argv[i], "--check") == 0) {
            checkOnly = true;
        } else if (argv[i][0] == '-' && argv[i][1] != '\0') {
            std::cerr << "gen-compile: unknown option " << argv[i] << "\n";
            return usage();
        } else if (model.empty()) {
            model = argv[i];
        } else {
            std::cerr << "gen-compile: more than one model file\n";
            return usage();
        }
    }
    if (model.empty())
        return usage();
    return compileFile(model, output, checkOnly, std::cerr) ? 0 : 1;
}
