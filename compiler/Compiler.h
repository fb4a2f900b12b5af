#pragma once
// The compiler's one entry point: reads a model file, checks it and, unless only
// checking, writes the generated classes into a directory.

#include <iosfwd>
#include <map>
#include <string>

struct CompileResult {
    bool ok = false;
    std::map<std::string, std::string> files; // the generated files, when ok
};

// Compiles the text of a model file named fileName; errors go to `errors` in the
// compilers' format. Writes nothing to disk.
CompileResult compileSource(const std::string& source, const std::string& fileName,
                            std::ostream& errors);

// Reads the file, compiles it and writes the generated files into
// outputDirectory (created when missing) unless checkOnly. False on any error.
bool compileFile(const std::string& path, const std::string& outputDirectory, bool checkOnly,
                 std::ostream& errors);
