#include "WorkFolder.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <stdexcept>
#include <sys/stat.h>
#include <unistd.h>
#include <vector>

namespace genstudies {

WorkFolder::WorkFolder(const std::string& given, bool keep) : keep_(keep) {
    if (given.empty()) {
        const char* tmp = std::getenv("TMPDIR");
        std::string pattern = std::string(tmp && *tmp ? tmp : "/tmp") + "/gen-study-XXXXXX";
        std::vector<char> name(pattern.begin(), pattern.end());
        name.push_back('\0');
        if (mkdtemp(name.data()) == nullptr)
            throw std::runtime_error(pattern +
                                     ": cannot make a temporary folder: " + std::strerror(errno));
        prefix_ = std::string(name.data()) + "/";
        temporary_ = true;
        return;
    }
    if (mkdir(given.c_str(), 0777) != 0 && errno != EEXIST)
        throw std::runtime_error(given + ": cannot make the folder: " + std::strerror(errno));
    struct stat info {};
    if (stat(given.c_str(), &info) != 0 || !S_ISDIR(info.st_mode))
        throw std::runtime_error(given + ": not a folder");
    prefix_ = given.back() == '/' ? given : given + "/";
}

WorkFolder::~WorkFolder() {
    if (temporary_ && !keep_)
        rmdir(prefix_.c_str()); // fails, harmlessly, if a file was left on purpose
}

void WorkFolder::removeRunFiles(const std::string& stem) const {
    if (keep_)
        return;
    for (const char* ext :
         {".arm", ".var", ".pvtype", ".imp", ".abs", ".det", ".dac", ".dip", ".out", ".err"})
        std::remove((prefix_ + stem + ext).c_str());
}

} // namespace genstudies
