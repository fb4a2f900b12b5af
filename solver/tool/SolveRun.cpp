#include "tool/SolveRun.h"

#include "methods/Regenerative.h"
#include "read/InputError.h"
#include "read/ModelReader.h"
#include "read/RegenerativeReader.h"

namespace gensolver {

Solution solveRun(const std::string& stem, const SolveOptions& options, bool binaryRows) {
    if (!hasDeterministicDelays(stem))
        return solve(binaryRows ? readModelFromParts(stem) : readModel(stem), options);
    if (binaryRows)
        throw InputError(stem + ".det", "the model has deterministic activities, whose "
                                        "rows only the text files hold; gen-solve "
                                        "without --binary-rows reads them");
    return solveRegenerative(readRegenerativeModel(stem), options);
}

} // namespace gensolver
