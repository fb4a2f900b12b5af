#include "TestModels.h"

#include <cstring>

namespace pvtest {

MoveActivity::MoveActivity(const char* name, int groupId)
    : Activity(name, groupId, Exponential, DefaultPolicy, 2, 1, false) {}

bool MoveActivity::Enabled() {
    PreviousEnabled = CurrentEnabled;
    CurrentEnabled = from->getMark() > 0;
    return CurrentEnabled;
}

BaseActionClass* MoveActivity::Fire() {
    from->setMark(static_cast<short>(from->getMark() - 1));
    to->setMark(static_cast<short>(to->getMark() + 1));
    return this;
}

TestSAN::TestSAN(const char* name)
    : p(new Place("p", 1)), q(new Place("q", 0)), r(new Place("r", 0)) {
    BaseStateVariableClass* places[] = {p, q, r};
    Activity* activities[] = {&go, &back, &spill};
    BaseGroupClass* groups[] = {&go, &back, &spill};
    initializeSANModelNow(name, 3, places, 0, nullptr, 3, activities, 3, groups);
    MoveActivity* moves[] = {&go, &back, &spill};
    Place* ends[][2] = {{p, q}, {q, p}, {q, r}};
    for (int i = 0; i < 3; ++i) {
        moves[i]->from = ends[i][0];
        moves[i]->to = ends[i][1];
        AddAffectArc(ends[i][0], moves[i]);
        AddAffectArc(ends[i][1], moves[i]);
        AddEnableArc(ends[i][0], moves[i]);
    }
}

TestSAN::~TestSAN() {
    delete p;
    delete q;
    delete r;
}

ReplicaModel::ReplicaModel(std::vector<TestSAN*> parts, const char* name) : parts(parts) {
    if (name != nullptr)
        DefineName(name);
    NumActions = NumGroups = 3 * static_cast<int>(parts.size());
    Actions = new BaseActionClass*[NumActions];
    Groups = new BaseGroupClass*[NumGroups];
    for (int i = 0; i < NumActions; ++i) {
        Actions[i] = parts[i / 3]->Actions[i % 3];
        Groups[i] = parts[i / 3]->Groups[i % 3];
    }
}

ReplicaModel::~ReplicaModel() {
    for (TestSAN* part : parts)
        delete part;
    delete[] Actions;
    delete[] Groups;
}

void ReplicaModel::listModels(const char* n, List<BaseModelClass>* l) {
    for (TestSAN* part : parts)
        part->listModels(n, l);
}

void ReplicaModel::CurrentState(void* to) {
    for (TestSAN* part : parts)
        part->CurrentState(to), to = static_cast<char*>(to) + 6;
}

void ReplicaModel::SetState(void* from) {
    for (TestSAN* part : parts)
        part->SetState(from), from = static_cast<char*>(from) + 6;
}

void ReplicaModel::listActions(List<BaseActionClass>* l) {
    l->append(Actions, NumActions);
}
void ReplicaModel::listGroups(List<BaseGroupClass>* l) {
    l->append(Groups, NumGroups);
}

void ReplicaModel::listActions(const char* n, List<BaseActionClass>* l) {
    for (TestSAN* part : parts)
        part->listActions(n, l);
}

void ReplicaModel::listSVs(const char* m, const char* v, List<BaseStateVariableClass>* svs,
                           List<BaseModelClass>* models) {
    for (TestSAN* part : parts)
        part->listSVs(m, v, svs, models);
}

short markingOf(BaseModelClass* model, const char* place) {
    auto* san = static_cast<TestSAN*>(model);
    Place* places[] = {san->p, san->q, san->r};
    for (Place* candidate : places)
        if (std::strcmp(candidate->getName(), place) == 0)
            return candidate->getMark();
    return -1;
}

PlaceWorker::PlaceWorker(const char* place, double scale) : place(place), scale(scale) {
    NumModelRefs = 2;
    ModelRefs = new BaseModelClass**[2];
    ModelRefs[0] = &first;
    ModelRefs[1] = &second;
}

CountingImpulse::CountingImpulse(int refs, const char* place, double scale, double perWorker)
    : place(place), scale(scale), perWorker(perWorker) {
    NumModelRefs = refs;
    ModelRefs = new BaseModelClass**[2];
    ModelRefs[0] = &first;
    ModelRefs[1] = &second;
}

CountingImpulse::~CountingImpulse() {
    delete[] ModelRefs;
    for (ImpulseNodeClass* worker : created)
        delete worker;
}

double CountingImpulse::Impulse_Function() {
    return perWorker * WorkerNumber + (place != nullptr ? scale * markingOf(Model, place) : 0.0);
}

void CountingImpulse::CurrentReward() {
    Value = Impulse_Function();
    ValueSquared = Value * Value;
}

ImpulseNodeClass** CountingImpulse::CreateWorkerList(int count) {
    auto** workers = new ImpulseNodeClass*[count > 0 ? count : 1];
    for (int k = 0; k < count; ++k)
        created.push_back(workers[k] = new CountingImpulse(NumModelRefs, place, scale, perWorker));
    return workers;
}

PlaceNode::~PlaceNode() {
    for (int w = 0; Workers != nullptr && w < NumWorkers; ++w) {
        if (Workers[w] != nullptr)
            delete[] Workers[w]->Name; // as the text says a generated node does
        delete Workers[w];
    }
    for (ImpulseNodeClass* impulse : impulses)
        delete impulse;
}

void PlaceNode::CreateWorkerList() {
    for (int w = 0; w < NumWorkers; ++w)
        Workers[w] = new PlaceWorker(place, scale);
}

CountingImpulse* PlaceNode::addImpulse(const char* action, const char* model, int refs,
                                       double scale, double perWorker) {
    auto* impulse = new CountingImpulse(refs, "q", scale, perWorker);
    impulses.push_back(impulse);
    AddImpulse(action, model, impulse);
    return impulse;
}

TestPVModel::TestPVModel(BaseModelClass* submodel, int numPVs, bool expand, Factory factory)
    : factory(factory) {
    SubModel = submodel;
    DefineName("testPVModel");
    CreatePVList(numPVs, expand);
    Initialize();
}

PerformanceVariableNode* TestPVModel::createPVNode(int pvIndex, int timeIndex) {
    timeIndices.push_back(timeIndex);
    return factory(pvIndex, timeIndex);
}

} // namespace pvtest
