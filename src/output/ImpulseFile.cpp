#include "output/ImpulseFile.h"

#include "output/RunFiles.h"
#include "output/TextBuffer.h"

#include <cstdlib>
#include <iostream>

namespace {

constexpr std::size_t BufferBytes = 1 << 20;

} // namespace

ImpulseFile::ImpulseFile(const std::string& fileName) : FileName(fileName) {
    File.open(FileName, std::ios::out | std::ios::trunc | std::ios::binary);
    if (!File) {
        std::cerr << "Error: Could not open file " << FileName << std::endl;
        std::exit(1);
    }
    RunFiles::markUnfinished(FileName);
    Out = std::make_unique<TextBuffer>(File, FileName.c_str(), BufferBytes, true);
}

ImpulseFile::~ImpulseFile() {
    close();
}

void ImpulseFile::variable(const char* name) {
    if (name == nullptr)
        RunFiles::writeFailed(FileName);
    Out->text(name);
    Out->text("\n");
}

void ImpulseFile::record(std::uint32_t stateNumber, const double* rates, std::uint32_t count) {
    Out->line(static_cast<long long>(stateNumber));
    for (std::uint32_t p = 0; p < count; ++p)
        Out->lineScientific10(rates[p]);
}

void ImpulseFile::close() {
    if (!Out)
        return;
    Out->flush(); // ends the run itself when the write fails
    Out.reset();
    RunFiles::closeResult(File, FileName);
}
