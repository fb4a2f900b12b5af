#include "trace/TraceFile.h"

#include "pv/PVModel.h"

#include <fstream>
#include <iostream>

int TraceLevel = 0;
std::ostream* trout = &std::cout;

TraceFile::TraceFile() {
    TraceLevel = 1;
}

// A file that cannot be opened leaves the stream failed: the trace goes nowhere.
TraceFile::TraceFile(const char* fileName)
    : out(new std::ofstream(fileName, std::ios::out | std::ios::trunc)) {
    opened = out;
}

TraceFile::TraceFile(std::ostream* o) : out(o) {}

TraceFile::~TraceFile() {
    delete opened;
}

void TraceFile::setTraceLevel(int l) {
    traceLevel = l;
    TraceLevel = l;
}

void TraceFile::printHeader(PVModel*) {}
void TraceFile::printFooter() {}
void TraceFile::printInitialState(BaseModelClass*) {}
void TraceFile::printState(BaseModelClass*) {}
void TraceFile::printState(PVModel* pv) {
    printState(pv->SubModel);
}
void TraceFile::printFireAction(BaseActionClass*, double) {}
void TraceFile::printPreFireAction(BaseActionClass*) {}
void TraceFile::printPostFireAction(BaseActionClass*, BaseActionClass*) {}
void TraceFile::newBatch() {}
void TraceFile::printf(int, const char*, ...) {}
void TraceFile::printStr(int, const char*) {}
