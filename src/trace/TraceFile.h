#pragma once
// TraceFile: the interface of the exploration's trace output, and a trace file
// that writes nothing. Each file has a level from 0 to 4; a message is written
// when the file's level is at least the message's.

#include <iosfwd>

class BaseActionClass;
class BaseModelClass;
class PVModel;

// The last level set on any trace file; nothing in the generator reads it.
extern int TraceLevel;
// Initialised to standard output; not used by the generator.
extern std::ostream* trout;

class TraceFile {
public:
    TraceFile();                              // level 1, no stream
    explicit TraceFile(const char* fileName); // writes to a new file (truncated)
    explicit TraceFile(std::ostream* o);      // writes to `o` (not owned)
    virtual ~TraceFile();                     // closes a file that it opened
    TraceFile(const TraceFile&) = delete;
    TraceFile& operator=(const TraceFile&) = delete;
    TraceFile(TraceFile&&) = delete;
    TraceFile& operator=(TraceFile&&) = delete;

    virtual void printHeader(PVModel* pv);
    virtual void printFooter();
    virtual void printInitialState(BaseModelClass* m);
    virtual void printState(BaseModelClass* m);
    virtual void printState(PVModel* pv); // printState of the model that pv wraps
    virtual void printFireAction(BaseActionClass* a, double x);
    virtual void printPreFireAction(BaseActionClass* a);
    virtual void printPostFireAction(BaseActionClass* a, BaseActionClass* b);
    virtual void newBatch();
    virtual void printf(int level, const char* format, ...) __attribute__((format(printf, 3, 4)));
    virtual void printStr(int level, const char* text);

    void setTraceLevel(int l);
    int getTraceLevel() const { return traceLevel; }

protected:
    int traceLevel = 1;          // messages of a higher level are not written
    std::ostream* out = nullptr; // the output stream; owned only when it is `opened`

private:
    std::ostream* opened = nullptr; // owned; the file stream opened on a file name
};
