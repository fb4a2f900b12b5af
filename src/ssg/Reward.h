#pragma once
// Reward: writer of the reward file (.var): a header with the names of the
// model's performance variables, then one record per state, in numbering order,
// with each variable's impulse and rate reward as they stand when the state has
// just been reached.

#include <fstream>
#include <memory>

class PartWriter;
class PVModel;
class TextBuffer;

// The reward file's stream, shared by the process; opened by Reward's constructor.
extern std::fstream rewfile;

class Reward {
public:
    // Opens the file (read and write, truncated) and writes the header; format
    // 1, 3 and 5 select text records, any other value binary ones.
    // With `background`, the records are formatted and written on the writer
    // thread (see TextBuffer).
    Reward(PVModel* model, short format, const char* fileName, bool background = false);
    // Writes what is buffered and closes the file (see close()).
    ~Reward();
    Reward(const Reward&) = delete;
    Reward& operator=(const Reward&) = delete;
    Reward(Reward&&) = delete;
    Reward& operator=(Reward&&) = delete;

    // Appends the record of `stateNumber` with the values the variables hold now.
    void Calculate(unsigned long stateNumber);
    // Number of values that Capture stores: an impulse and a rate reward per variable.
    int NumValues() const;
    // Stores the values the variables hold now, to be written later by Write.
    void Capture(double* values) const { CaptureFrom(Model, values); }
    // Stores the values the variables of `model` hold now, as Capture does,
    // without a file.
    static void CaptureFrom(const PVModel* model, double* values);
    // Appends the record of `stateNumber` with values stored by Capture.
    void Write(unsigned long stateNumber, const double* values);
    // Writes what is buffered and closes the file; a failed write or close ends
    // the run with a message (status 1).
    void close();
    // Also hands every record to `part` (not owned; null for none), which
    // must outlive the writes.
    void alsoTo(PartWriter* part) { Part = part; }

private:
    PVModel* Model;                   // not owned
    short Format;                     // output file type
    int counter = 0;                  // the variable whose name is being written
    const char* FileName;             // not owned; for the message of a failed write
    std::unique_ptr<TextBuffer> Out;  // owned; buffers the records of rewfile
    std::unique_ptr<double[]> Values; // owned; NumValues() values of the record being written
    PartWriter* Part = nullptr;       // not owned; receives the records too when set
};
