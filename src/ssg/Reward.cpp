#include "ssg/Reward.h"

#include "base/Errors.h"
#include "output/PartWriter.h"
#include "output/TextBuffer.h"
#include "pv/PVModel.h"
#include "pv/PerformanceVariableNode.h"

#include <cstdlib>
#include <iostream>
#include <new>

std::fstream rewfile;

namespace {

constexpr std::size_t BufferBytes = 1 << 20;

bool textFormat(short format) {
    return format == 1 || format == 3 || format == 5;
}

[[noreturn]] void writeFailed(const char* fileName) {
    std::cerr << "Error: Could not write file " << fileName << std::endl;
    std::exit(1);
}

} // namespace

Reward::Reward(PVModel* model, short format, const char* fileName, bool background)
    : Model(model), Format(format), FileName(fileName) {
    rewfile.open(fileName, std::ios::in | std::ios::out | std::ios::trunc | std::ios::binary);
    if (!rewfile) {
        std::cerr << "Could not open file dude" << std::endl;
        std::exit(1);
    }
    Out = std::make_unique<TextBuffer>(rewfile, FileName, BufferBytes, background);
    Values.reset(new (std::nothrow) double[NumValues() > 0 ? NumValues() : 1]);
    if (Values == nullptr)
        MemoryAllocationError();
    for (counter = 0; counter < Model->NumPVs; ++counter) {
        const char* name = Model->PVList[counter]->Name;
        if (name == nullptr)
            writeFailed(FileName); // a variable without a name leaves no valid header
        Out->text(name);
        Out->text("\n");
    }
}

Reward::~Reward() {
    close();
}

void Reward::Calculate(unsigned long stateNumber) {
    Capture(Values.get());
    Write(stateNumber, Values.get());
}

int Reward::NumValues() const {
    return 2 * Model->NumPVs;
}

void Reward::CaptureFrom(const PVModel* model, double* values) {
    PerformanceVariableNode* const* nodes = model->PVList;
    for (int p = 0; p < model->NumPVs; ++p) {
        values[2 * p] = nodes[p]->ImpulseReward;
        values[2 * p + 1] = nodes[p]->RateReward;
    }
}

void Reward::Write(unsigned long stateNumber, const double* values) {
    auto count = static_cast<std::uint32_t>(NumValues());
    if (textFormat(Format)) {
        Out->line(static_cast<long long>(stateNumber));
        Out->linesGeneral6(values, count);
    } else {
        Out->binaryInt32(static_cast<std::int32_t>(stateNumber));
        Out->binaryDoubles(values, count);
    }
    if (Part != nullptr) {
        try {
            Part->record(static_cast<std::uint32_t>(stateNumber), values);
        } catch (const std::exception& error) {
            std::cerr << "Error: " << error.what() << std::endl;
            std::exit(1);
        }
    }
}

void Reward::close() {
    if (!Out)
        return;
    Out->flush(); // ends the run itself when the write fails
    Out.reset();
    rewfile.flush();
    if (!rewfile)
        writeFailed(FileName);
    rewfile.close();
    if (!rewfile)
        writeFailed(FileName);
}
