#include "read/ModelReader.h"

#include "read/ArmReader.h"
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
    model.matrix = readArm(stem + ".arm", states, model.rewards);
    return model;
}

} // namespace gensolver
