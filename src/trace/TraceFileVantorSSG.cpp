#include "trace/TraceFileVantorSSG.h"

#include "actions/BaseActionClass.h"
#include "models/SANModel.h"
#include "pv/PVModel.h"
#include "state/BaseStateVariableClass.h"

#include <ostream>

TraceFileVantorSSG::TraceFileVantorSSG() = default;
TraceFileVantorSSG::TraceFileVantorSSG(const char* fileName) : TraceFile(fileName) {}
TraceFileVantorSSG::TraceFileVantorSSG(std::ostream* o) : TraceFile(o) {}

void TraceFileVantorSSG::printHeader(PVModel*) {
    *out << "**************************************" << std::endl;
    *out << "\t\tTRACE" << std::endl;
    *out << "**************************************" << std::endl;
}

void TraceFileVantorSSG::printFooter() {}

void TraceFileVantorSSG::printInitialState(BaseModelClass* m) {
    *out << "Initial Model State:" << std::endl;
    printState(m);
}

void TraceFileVantorSSG::printState(BaseModelClass* m) {
    BaseStateVariableClass** variables = m->GetLocalStateVariables(out);
    *out << "  Model: (" << m->ModelId << ")" << m->Name << std::endl;
    if (variables != nullptr) {
        // Only a SAN hands out its variables: its own places, never the read-only ones.
        int count = m->NumStateVariables;
        if (auto* san = dynamic_cast<SANModel*>(m))
            count -= san->NumReadOnlyPlaces;
        for (int i = 0; i < count; ++i) {
            *out << "    " << variables[i]->getName() << " = ";
            variables[i]->printStateVal(out);
            *out << std::endl;
        }
    }
    for (int j = 0; j < m->GetNumberOfChildren(); ++j)
        printState(m->GetChild(j));
}

void TraceFileVantorSSG::printState(PVModel* pv) {
    printState(pv->SubModel);
}

void TraceFileVantorSSG::printFireAction(BaseActionClass* a, double) {
    if (traceLevel >= 1)
        *out << "Firing Action: " << a->Name << std::endl;
}

void TraceFileVantorSSG::printPreFireAction(BaseActionClass* a) {
    if (traceLevel < 2)
        return;
    *out << "Enabling state before action firing:" << std::endl;
    BaseActionClass* shown = a->getPrintedAction();
    List<BaseStateVariableClass>& enabling = shown->EnablingSVs;
    for (int i = 0; i < enabling.getNumItems(); ++i) {
        BaseStateVariableClass* variable = enabling.getItem(i);
        *out << "  " << variable->getName() << " = ";
        variable->printStateVal(out);
        *out << std::endl;
    }
}

void TraceFileVantorSSG::printPostFireAction(BaseActionClass* a, BaseActionClass*) {
    *out << "State after firing action: " << a->Name << std::endl;
}

void TraceFileVantorSSG::newBatch() {
    *out << "##### NEW BATCH #####" << std::endl;
}

void TraceFileVantorSSG::printStr(int level, const char* text) {
    if (traceLevel >= level)
        *out << text << std::endl;
}
