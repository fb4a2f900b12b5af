#pragma once
// TraceFileVantorSSG: the generator's trace text, written to a file or to
// standard output. Formatted messages reach it through a TraceFileContainer,
// which formats them and calls printStr.

#include "trace/TraceFile.h"

class TraceFileVantorSSG : public TraceFile {
public:
    TraceFileVantorSSG();
    explicit TraceFileVantorSSG(const char* fileName);
    explicit TraceFileVantorSSG(std::ostream* o);

    void printHeader(PVModel* pv) override;
    void printFooter() override;
    void printInitialState(BaseModelClass* m) override;
    void printState(BaseModelClass* m) override;
    void printState(PVModel* pv) override;
    void printFireAction(BaseActionClass* a, double x) override;
    void printPreFireAction(BaseActionClass* a) override;
    void printPostFireAction(BaseActionClass* a, BaseActionClass* b) override;
    void newBatch() override;
    void printStr(int level, const char* text) override;
};
