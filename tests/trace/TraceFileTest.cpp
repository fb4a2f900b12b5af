#include "trace/TraceFile.h"
#include "trace/TraceFileContainer.h"
#include "trace/TraceFileVantorSSG.h"

#include "actions/BaseActionClass.h"
#include "models/SANModel.h"
#include "pv/PVModel.h"
#include "state/Place.h"

#include <gtest/gtest.h>

#include <sstream>
#include <string>

namespace {

// A SAN with the places a (1) and b (2) and no activities.
class TwoPlaces : public SANModel {
public:
    TwoPlaces() {
        BaseStateVariableClass* places[] = {&a, &b};
        initializeSANModelNow("two", 2, places, 0, nullptr, 0, nullptr, 0, nullptr);
    }
    Place a{"a", 1};
    Place b{"b", 2};
};

// A model without local state variables that holds two SANs as its children.
class Composite : public SANModel {
public:
    Composite() { DefineName("whole"); }
    BaseStateVariableClass** GetLocalStateVariables(std::ostream*) override { return nullptr; }
    int GetNumberOfChildren() override { return 2; }
    BaseModelClass* GetChild(int i) override { return i == 0 ? &first : &second; }
    TwoPlaces first, second;
};

// A reward model over TwoPlaces with no performance variables.
class Wrapper : public PVModel {
public:
    Wrapper() {
        SubModel = new TwoPlaces();
        DefineName("wrapper");
        CreatePVList(0, false);
        Initialize();
    }
    PerformanceVariableNode* createPVNode(int, int) override { return nullptr; }
};

std::string modelLine(BaseModelClass* m, const char* name) {
    return "  Model: (" + std::to_string(m->ModelId) + ")" + name + "\n";
}

TEST(TraceFileVantorSSG, WhatEachLevelWrites) {
    TwoPlaces model;
    BaseActionClass action("fire_me", 0, Exponential, DefaultPolicy, 0, 0, false);
    action.addEnablingSV(&model.b);
    const std::string state = modelLine(&model, "two") + "    a = 1\n    b = 2\n";
    const std::string always = "**************************************\n\t\tTRACE\n"
                               "**************************************\n"
                               "##### NEW BATCH #####\n"
                               "Initial Model State:\n" +
                               state + state + "State after firing action: fire_me\n";
    const std::string levelZeroMessage = "zero\n";
    const std::string fireLine = "Firing Action: fire_me\n";
    const std::string preFire = "Enabling state before action firing:\n  b = 2\n";

    for (int level = 0; level <= 2; ++level) {
        std::ostringstream out;
        TraceFileVantorSSG trace(&out);
        trace.setTraceLevel(level);
        EXPECT_EQ(TraceLevel, level);
        trace.printHeader(nullptr);
        trace.newBatch();
        trace.printInitialState(&model);
        trace.printState(&model);
        trace.printPostFireAction(&action, nullptr);
        trace.printFooter();
        trace.printStr(0, "zero");
        trace.printStr(1, "one");
        trace.printFireAction(&action, 3.5);
        trace.printPreFireAction(&action);
        trace.printf(0, "never %d", 1); // formatting is the container's
        std::string expected = always + levelZeroMessage;
        if (level >= 1)
            expected += "one\n" + fireLine;
        if (level >= 2)
            expected += preFire;
        EXPECT_EQ(out.str(), expected) << "level " << level;
    }
}

TEST(TraceFileVantorSSG, ModelWithoutLocalVariablesShowsItsChildren) {
    Composite model;
    std::ostringstream out;
    TraceFileVantorSSG trace(&out);
    trace.setTraceLevel(0);
    trace.printState(&model);
    EXPECT_EQ(out.str(), modelLine(&model, "whole") + modelLine(&model.first, "two") +
                             "    a = 1\n    b = 2\n" + modelLine(&model.second, "two") +
                             "    a = 1\n    b = 2\n");
}

TEST(TraceFileContainer, FormatsOnceAndForwardsToEachFile) {
    Wrapper pv;
    std::ostringstream first, second;
    TraceFileVantorSSG four(&first), three(&second);
    four.setTraceLevel(4);
    three.setTraceLevel(3);
    TraceFileContainer container;
    container.setTraceLevel(0); // the container's own level is not consulted
    container.AddTraceFile(&four);
    container.AddTraceFile(&three);
    container.addPVModel(&pv);
    container.printf(4, "Checking Action: %s", "arrival");
    container.printf(3, "State Number = %d", 7);
    container.printState();
    // The file interface's overload is the base's on the container: nothing.
    container.printInitialState(pv.SubModel);
    std::string state = modelLine(pv.SubModel, "two") + "    a = 1\n    b = 2\n";
    EXPECT_EQ(first.str(), "Checking Action: arrival\nState Number = 7\n" + state);
    EXPECT_EQ(second.str(), "State Number = 7\n" + state);

    // Messages longer than 999 characters are cut there.
    first.str("");
    container.printf(1, "%s", std::string(1500, 'x').c_str());
    EXPECT_EQ(first.str(), std::string(999, 'x') + "\n");
}

} // namespace
