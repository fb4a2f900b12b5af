// gen-compile: compiles a model file into the generated classes of its model.
//
//   gen-compile [-o <directory>] [--check] <model-file>

#include "Compiler.h"

#include <cstring>
#include <iostream>
#include <string>

namespace {

const char* const usageLine = "usage: gen-compile [-o <directory>] [--check] <model-file>\n";

int usage() {
    std::cerr << usageLine;
    return 1;
}

// --help: the usage and what each option does, on standard output.
int help() {
    std::cout << usageLine
              << "Compiles a model file into the generated classes of its model.\n"
                 "  -o <directory>  write the generated files into <directory> (default: the\n"
                 "                  current directory; created when missing)\n"
                 "  --check         only check the model file; write nothing\n"
                 "  --help          print this text\n"
                 "Exit status: 0 on success, 1 on any error.\n";
    return 0;
}

} // namespace

int main(int argc, char** argv) {
    std::string output = ".";
    std::string model;
    bool checkOnly = false;
    for (int i = 1; i < argc; ++i) {
        if (std::strcmp(argv[i], "--help") == 0) {
            return help();
        } else if (std::strcmp(argv[i], "-o") == 0) {
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
