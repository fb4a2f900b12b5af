#include "store/Pages.h"

#include <sys/resource.h>
#include <unistd.h>

namespace pages {

std::size_t pageSize() {
    static const std::size_t page = static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
    return page;
}

bool addressSpaceLimited() {
    rlimit limit{};
    return getrlimit(RLIMIT_AS, &limit) == 0 && limit.rlim_cur != RLIM_INFINITY;
}

} // namespace pages
