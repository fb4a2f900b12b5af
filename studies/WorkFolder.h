#pragma once
// The folder in which a study's runs write their files: a fresh temporary folder,
// removed at the end unless kept, or a folder the user names, created when missing
// and never removed.

#include <string>

namespace genstudies {

class WorkFolder {
public:
    // `given` empty: a fresh folder under $TMPDIR (or /tmp). Throws std::runtime_error
    // naming the folder when it cannot be made.
    WorkFolder(const std::string& given, bool keep);
    ~WorkFolder();
    WorkFolder(const WorkFolder&) = delete;
    WorkFolder& operator=(const WorkFolder&) = delete;

    // The folder with a trailing '/', to put before a file name.
    const std::string& prefix() const { return prefix_; }
    // True when the folder is a temporary one.
    bool temporary() const { return temporary_; }

    // Removes <prefix><stem> followed by each extension a run may write, unless kept.
    void removeRunFiles(const std::string& stem) const;

private:
    std::string prefix_; // the folder, ending in '/'
    bool temporary_ = false;
    bool keep_ = false; // the runs' files stay
};

} // namespace genstudies
