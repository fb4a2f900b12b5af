#include "read/ModelReader.h"

#include "read/ArmReader.h"
#include "read/ImpReader.h"
#include "read/InputError.h"
#include "read/PvTypeReader.h"
#include "read/VarReader.h"

#include <sys/stat.h>

namespace gensolver {

Model readModel(const std::string& stem) {
    struct stat info {};
    if (::stat((stem + ".det").c_str(), &info) == 0)
        throw InputError(stem + ".det",
                         "the model has deterministic activities (this file lists where they "
                         "are enabled); its chain is not a Markov chain and needs a different "
                         "kind of solver");
    Model model;
    model.stem = stem;
    model.variables = readPvType(stem + ".pvtype");
    const std::uint32_t states = readArmStateCount(stem + ".arm");
    model.rewards = readVar(stem + ".var", model.variables, states);
    // The impulse rates of the .imp file, when the run wrote one, replace those
    // that the .arm reader would derive from the first-entry impulses of .var.
    if (::stat((stem + ".imp").c_str(), &info) == 0) {
        readImp(stem + ".imp", model.variables, states, model.rewards);
        model.exactImpulses = true;
    }
    model.matrix = readArm(stem + ".arm", states, model.rewards);
    if (::stat((stem + ".abs").c_str(), &info) == 0)
        model.untilAbsorption = readAbsorptionList(stem + ".abs", model.variables);
    return model;
}

} // namespace gensolver
