#include "Emitter.h"

#include "emit/RewardEmitter.h"
#include "emit/SanEmitter.h"
#include "emit/StudyEmitter.h"
#include "emit/Writer.h"

std::map<std::string, std::string> emitModel(const CheckedModel& model) {
    GeneratedFiles files;
    const EmitContext c{model, files, model.modelName + "SAN"};
    emitGlobals(c);
    emitSan(c);
    emitRewards(c);
    emitStudy(c);
    Writer all = c.open("GeneratedModel.cpp");
    c.header(all,
             "Every generated source of the model " + model.modelName + ", compiled as one unit.");
    all << "\n";
    for (const auto& [name, text] : files)
        if (name.size() > 4 && name.compare(name.size() - 4, 4, ".cpp") == 0)
            all << "#include " << quoted(name) << "\n";
    c.save("GeneratedModel.cpp", all);
    return files;
}
