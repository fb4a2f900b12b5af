#include "trace/TraceFileContainer.h"

#include "pv/PVModel.h"

#include <cstdarg>
#include <cstdio>

TraceFileContainer::TraceFileContainer() = default;

void TraceFileContainer::AddTraceFile(TraceFile* t) {
    traceFiles.push_back(t);
}

void TraceFileContainer::printHeader() {
    for (TraceFile* file : traceFiles)
        file->printHeader(pvModel);
}

void TraceFileContainer::printState() {
    for (TraceFile* file : traceFiles)
        file->printState(pvModel);
}

void TraceFileContainer::printInitialState() {
    for (TraceFile* file : traceFiles)
        file->printInitialState(pvModel->SubModel);
}

void TraceFileContainer::printHeader(PVModel*) {}
void TraceFileContainer::printState(BaseModelClass*) {}
void TraceFileContainer::printState(PVModel*) {}

void TraceFileContainer::printFooter() {
    for (TraceFile* file : traceFiles)
        file->printFooter();
}

void TraceFileContainer::printFireAction(BaseActionClass* a, double x) {
    for (TraceFile* file : traceFiles)
        file->printFireAction(a, x);
}

void TraceFileContainer::printPreFireAction(BaseActionClass* a) {
    for (TraceFile* file : traceFiles)
        file->printPreFireAction(a);
}

void TraceFileContainer::printPostFireAction(BaseActionClass* a, BaseActionClass* b) {
    for (TraceFile* file : traceFiles)
        file->printPostFireAction(a, b);
}

void TraceFileContainer::newBatch() {
    for (TraceFile* file : traceFiles)
        file->newBatch();
}

void TraceFileContainer::printf(int level, const char* format, ...) {
    char buffer[1000];
    va_list arguments;
    va_start(arguments, format);
    std::vsnprintf(buffer, sizeof buffer, format, arguments);
    va_end(arguments);
    for (TraceFile* file : traceFiles)
        file->printStr(level, buffer);
}

void TraceFileContainer::printStr(int level, const char* text) {
    for (TraceFile* file : traceFiles)
        file->printStr(level, text);
}
