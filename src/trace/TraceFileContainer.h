#pragma once
// TraceFileContainer: holds several trace files and forwards each trace call
// to all of them, formatting printf-style messages once. The container does
// not test its own level; each file tests its own.

#include "trace/TraceFile.h"

#include <vector>

class TraceFileContainer : public TraceFile {
public:
    TraceFileContainer(); // level 1, no files, no model

    void AddTraceFile(TraceFile* t);    // appended; not owned
    void RemoveTraceFile(TraceFile*) {} // does nothing
    void addPVModel(PVModel* pv) { pvModel = pv; }

    // The traced model's header, state and initial state, for each file. The
    // file interface's overloads stay visible beside them.
    using TraceFile::printInitialState;
    void printHeader();
    void printState();
    void printInitialState();

    void printHeader(PVModel* pv) override;      // nothing
    void printState(BaseModelClass* m) override; // nothing
    void printState(PVModel* pv) override;       // nothing
    void printFooter() override;
    void printFireAction(BaseActionClass* a, double x) override;
    void printPreFireAction(BaseActionClass* a) override;
    void printPostFireAction(BaseActionClass* a, BaseActionClass* b) override;
    void newBatch() override;
    // Formats the message (truncated to 999 characters) and hands it to each
    // file's printStr.
    void printf(int level, const char* format, ...) override __attribute__((format(printf, 3, 4)));
    void printStr(int level, const char* text) override;

private:
    PVModel* pvModel = nullptr;         // not owned; null until addPVModel
    std::vector<TraceFile*> traceFiles; // not owned; in the order added
};
