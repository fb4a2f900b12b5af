#pragma once
// ImpulseFile: writer of the impulse-rate file (.imp): a header with the names
// of the performance variables, then one record per explored state, in number
// order, with the rate at which each variable earns impulses in that state. The
// file is registered with RunFiles as unfinished until the run completes.

#include <cstdint>
#include <fstream>
#include <memory>
#include <string>

class TextBuffer;

class ImpulseFile {
public:
    // Opens (truncates) `fileName`, or ends the run (status 1) with a message.
    // The records are formatted and written on the writer thread.
    explicit ImpulseFile(const std::string& fileName);
    // Writes what is buffered and closes the file (see close()).
    ~ImpulseFile();
    ImpulseFile(const ImpulseFile&) = delete;
    ImpulseFile& operator=(const ImpulseFile&) = delete;
    ImpulseFile(ImpulseFile&&) = delete;
    ImpulseFile& operator=(ImpulseFile&&) = delete;

    // One line of the header; a null name ends the run (no valid header).
    void variable(const char* name);
    // The record of `stateNumber`: its number, then the `count` rates.
    void record(std::uint32_t stateNumber, const double* rates, std::uint32_t count);
    // Writes what is buffered and closes the file; a failure ends the run.
    void close();

private:
    std::string FileName;            // the file written
    std::ofstream File;              // open until close()
    std::unique_ptr<TextBuffer> Out; // owned; buffers File until close()
};
