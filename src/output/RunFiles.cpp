#include "output/RunFiles.h"

#include "output/ArmHeader.h"
#include "output/TextBuffer.h"

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <iostream>
#include <vector>

namespace {

constexpr std::size_t ArmBufferBytes = 1 << 20;

// Result files of a run that has not finished. A fatal error ends the process
// with exit(1) wherever it arises (the state store, the zero-time limit, a
// failed write, exhausted memory), so an exit handler removes them: a failed
// run leaves no .var, .det or .imp that looks complete. The .arm needs no removal,
// its blank count marks it unfinished until the very end.
std::vector<std::string> unfinishedResults;

void removeUnfinishedResults() {
    for (const std::string& name : unfinishedResults)
        std::remove(name.c_str());
}

// True when the two names lead to one existing file. Files are compared by
// identity (device and inode), so no spelling of a path (relative or absolute,
// "./", "//", "..", a symbolic link) hides that two names are one file.
bool sameFile(const char* first, const std::string& second) {
    std::error_code error;
    return std::filesystem::equivalent(first, second, error) && !error;
}

[[noreturn]] void cannotOpen(const char* message) {
    std::cerr << message << std::endl;
    std::exit(1);
}

// Flushes and closes `file`; a failure of either ends the run naming `name`.
template <class Stream> void closeWritten(Stream& file, const std::string& name) {
    file.flush();
    if (!file)
        RunFiles::writeFailed(name);
    file.close();
    if (!file)
        RunFiles::writeFailed(name);
}

} // namespace

RunFiles::RunFiles(const char* path, const char* name) {
    std::string stem = std::string(path ? path : "") + (name ? name : "");
    ArmName = stem + ".arm";
    VarName = stem + ".var";
    PvTypeName = stem + ".pvtype";
    DetName = stem + ".det";
    ImpName = stem + ".imp";
    AbsName = stem + ".abs";
    DacName = stem + ".dac";
    DipName = stem + ".dip";
}

void RunFiles::removeStaleImpulses() const {
    std::remove(ImpName.c_str());
}

RunFiles::~RunFiles() = default;

void RunFiles::markUnfinished(const std::string& name) {
    static const bool registered = std::atexit(removeUnfinishedResults) == 0;
    (void)registered;
    unfinishedResults.push_back(name);
}

void RunFiles::keepResults() {
    unfinishedResults.clear();
}

void RunFiles::writeFailed(const std::string& fileName) {
    std::cerr << "Error: Could not write file " << fileName << std::endl;
    std::exit(1);
}

void RunFiles::closeResult(std::ofstream& file, const std::string& name) {
    closeWritten(file, name);
}

void RunFiles::refuseTraceFile(const char* traceFileName) const {
    // Writing the trace into a result file would truncate it and interleave the
    // trace with its rows. A result file that exists now is compared with the
    // trace file as it exists; when the trace file does not exist yet it is
    // created empty (nothing is written), so that a result file that the run
    // would create under another spelling of the same name is found as well.
    std::error_code error;
    bool existed = std::filesystem::exists(traceFileName, error);
    if (!existed)
        std::ofstream(traceFileName, std::ios::app).close();
    for (const std::string* result :
         {&ArmName, &VarName, &PvTypeName, &DetName, &ImpName, &AbsName, &DacName, &DipName}) {
        if (sameFile(traceFileName, *result)) {
            if (!existed) // the file created above, wherever a symbolic link put it
                std::filesystem::remove(std::filesystem::canonical(traceFileName, error), error);
            std::cerr << "Error: the trace file " << traceFileName << " is the result file "
                      << *result << "; choose another name (-t)" << std::endl;
            std::exit(1);
        }
    }
}

TextBuffer& RunFiles::openArm(const char* name, const char* failMessage) {
    ArmOpen = name;
    ArmFile.open(ArmOpen, std::ios::out | std::ios::trunc | std::ios::binary);
    if (!ArmFile)
        cannotOpen(failMessage);
    ArmOut = std::make_unique<TextBuffer>(ArmFile, ArmOpen.c_str(), ArmBufferBytes, true);
    return *ArmOut;
}

void RunFiles::writeArmPlaceholder(short format, int blanks) {
    // Until the count is written over it, no reader can take the file for complete.
    ArmHeaderBlanks = blanks;
    ArmOut->text(ArmHeader::placeholder(format, blanks).c_str());
}

void RunFiles::flushArm() {
    ArmOut->flush(); // ends the run itself when the write fails
    ArmOut.reset();
    ArmFile.flush();
    if (!ArmFile)
        writeFailed(ArmOpen);
}

void RunFiles::completeArm(short format, std::uint64_t count) {
    // The header over the placeholder: the output type and the count, each on
    // its line; the rest of the blank line stays as line 3. A count too long for
    // the placeholder (8 digits on the deterministic path) moves the rows back
    // so that line 3 stays.
    if (ArmHeader::fitsInPlace(format, count, ArmHeaderBlanks)) {
        std::string header = ArmHeader::headerLines(format, count);
        ArmFile.seekp(0);
        ArmFile.write(header.data(), static_cast<std::streamsize>(header.size()));
        closeWritten(ArmFile, ArmOpen);
    } else {
        // The rows are flushed already (flushArm).
        closeWritten(ArmFile, ArmOpen);
        std::fstream file(ArmOpen, std::ios::in | std::ios::out | std::ios::binary);
        if (!file || !ArmHeader::complete(file, format, count, ArmHeaderBlanks))
            writeFailed(ArmOpen);
        closeWritten(file, ArmOpen);
    }
    unfinishedResults.clear(); // every result file of the run is complete
}

std::ofstream& RunFiles::openDet(const char* name) {
    DetOpen = name;
    DetFile.open(DetOpen, std::ios::out | std::ios::trunc | std::ios::binary);
    if (!DetFile)
        cannotOpen("Error: Could not open det file ");
    markUnfinished(DetOpen);
    return DetFile;
}

void RunFiles::closeDet() {
    closeWritten(DetFile, DetOpen);
}
