#pragma once
// RunFiles: the result files of one run, <path><name> with .arm (the rate
// rows), .var (the reward records), .pvtype, .det, .imp (the impulse
// rates, only for a model with impulse rewards) and .abs (the variables to
// report until absorption, only for a model that names some) and .dac (the
// deterministic activity enabled in each state, only for a model with
// deterministic activities) and .dip (the impulses of each deterministic
// firing, only for a model with deterministic activities and impulse
// rewards). It opens the .arm file
// with a placeholder header and writes the state count over it as the very
// last step, so that an .arm whose placeholder is still blank is unfinished.
// The .var, .det and .imp files of a run that ends before that (every fatal error
// ends the process where it arises) are removed by one exit handler.
// A trace file that is one of the result files is refused before anything is
// written.

#include <cstdint>
#include <fstream>
#include <memory>
#include <string>

class TextBuffer;

class RunFiles {
public:
    // Names the files after `path` and `name` (either may be null: empty).
    RunFiles(const char* path, const char* name);
    RunFiles(const RunFiles&) = delete;
    RunFiles& operator=(const RunFiles&) = delete;
    RunFiles(RunFiles&&) = delete;
    RunFiles& operator=(RunFiles&&) = delete;
    ~RunFiles();

    const std::string& armName() const { return ArmName; }
    const std::string& varName() const { return VarName; }
    const std::string& pvTypeName() const { return PvTypeName; }
    const std::string& detName() const { return DetName; }
    const std::string& impName() const { return ImpName; }
    const std::string& absName() const { return AbsName; }
    // Removes an .imp file that an earlier run left under this run's name,
    // for a run that writes none: it would not describe this run's states.
    void removeStaleImpulses() const;

    // Ends the run (status 1) when `traceFileName` names one of the result
    // files, however spelled.
    void refuseTraceFile(const char* traceFileName) const;

    // Opens the .arm file `name` (armName(), unless the caller chose
    // another), or ends the run with `failMessage` on standard error. The rows
    // are formatted and written on the writer thread.
    TextBuffer& openArm(const char* name, const char* failMessage);
    // The output type's line and a line of `blanks` blanks, for the count.
    void writeArmPlaceholder(short format, int blanks);
    // The rows' buffer, while the .arm is open.
    TextBuffer& arm() { return *ArmOut; }
    // Writes out every row; a failed write ends the run.
    void flushArm();
    // Writes `count` over the placeholder and closes the .arm: the last step of
    // a run, once every other file is complete. The run's files are then kept.
    void completeArm(short format, std::uint64_t count);

    // Opens the .det file `name` (detName(), unless the caller chose another),
    // or ends the run.
    std::ofstream& openDet(const char* name);
    // Flushes and closes the .det file; a failure ends the run.
    void closeDet();

    // Keeps every result file of the run: the last step of a run that writes
    // no .arm (its rows are in the binary form).
    static void keepResults();
    // Registers a result file that the exit handler removes unless the run
    // completes. Call once the file is open, so that a name that was never
    // the run's (a folder, a file it could not open) is never removed.
    static void markUnfinished(const std::string& name);
    // Ends the run (status 1): `fileName` could not be written.
    [[noreturn]] static void writeFailed(const std::string& fileName);
    // Flushes and closes `file`, the result file `name`; a failure ends the run.
    static void closeResult(std::ofstream& file, const std::string& name);

private:
    std::string ArmName, VarName, PvTypeName, DetName, ImpName, AbsName, DacName,
        DipName;                        // the result files
    std::string ArmOpen, DetOpen;       // the .arm and .det files opened, for messages
    std::ofstream ArmFile;              // the .arm file while it is open
    std::unique_ptr<TextBuffer> ArmOut; // owned; buffers ArmFile until flushArm
    std::ofstream DetFile;              // the .det file while it is open
    int ArmHeaderBlanks = 0;            // width of the .arm header's placeholder
};
