#include "Compiler.h"

#include "Checker.h"
#include "Diagnostics.h"
#include "Emitter.h"
#include "Parser.h"
#include "SampledKinds.h"

#include <filesystem>
#include <fstream>
#include <ostream>
#include <sstream>

CompileResult compileSource(const std::string& source, const std::string& fileName,
                            std::ostream& errors) {
    CompileResult result;
    Diagnostics diagnostics(fileName, source);
    Parser parser(source, diagnostics);
    ModelFile file = parser.parse();
    CheckedModel model;
    if (file.hasModel)
        model = checkModel(file, fileName, diagnostics);
    if (diagnostics.hasErrors()) {
        diagnostics.print(errors);
        errors << diagnostics.count() << (diagnostics.count() == 1 ? " error" : " errors") << " in "
               << fileName << "\n";
        return result;
    }
    // Only the simulator samples these distributions: say so, without failing.
    for (const CheckedActivity& a : model.activities)
        if (a.kind == ActivityKind::Sampled)
            errors << fileName << ':' << a.at.line << ':' << a.at.column << ": warning: activity '"
                   << a.name << "' is " << sampledKind(a.sampled).word
                   << ": gen cannot explore this model; its simulator (the model's -sim "
                      "executable) samples it\n";
    result.files = emitModel(model);
    result.ok = true;
    return result;
}

bool compileFile(const std::string& path, const std::string& outputDirectory, bool checkOnly,
                 std::ostream& errors) {
    std::ifstream in(path, std::ios::binary);
    if (!in) {
        errors << "gen-compile: cannot read the model file " << path << "\n";
        return false;
    }
    std::ostringstream text;
    text << in.rdbuf();
    if (in.bad()) {
        errors << "gen-compile: cannot read the model file " << path << "\n";
        return false;
    }
    CompileResult result = compileSource(text.str(), path, errors);
    if (!result.ok)
        return false;
    if (checkOnly)
        return true;
    std::error_code ec;
    std::filesystem::create_directories(outputDirectory, ec);
    if (ec) {
        errors << "gen-compile: cannot create the directory " << outputDirectory << ": "
               << ec.message() << "\n";
        return false;
    }
    for (const auto& [name, contents] : result.files) {
        const std::string target = outputDirectory + "/" + name;
        std::ofstream out(target, std::ios::binary | std::ios::trunc);
        out << contents;
        out.close();
        if (!out) {
            errors << "gen-compile: cannot write " << target << "\n";
            return false;
        }
    }
    return true;
}
