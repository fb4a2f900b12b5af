#include "firing/ZeroTimeResolver.h"

#include "base/NewArray.h"

#include <cstdlib>
#include <iostream>

ZeroTimeResolver::ZeroTimeResolver(Firing& firing, std::uint32_t stateSize)
    : Fire(firing), Actions(firing.actions()), StateSize(stateSize) {
    std::size_t depths = MaxDepth + 1;
    Saved = newArray<char>(depths * StateSize);
    Enabled = newArray<BaseActionClass*>(depths * Actions.numInstant());
}

void ZeroTimeResolver::depthExceeded(const char* message, const char* end) {
    std::cerr << message << "(" << MaxDepth << end << std::endl
              << "Please check the model and try again" << std::endl;
    std::exit(1);
}
