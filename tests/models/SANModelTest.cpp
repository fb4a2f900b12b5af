// SAN models and their local state: layout, state moves, listing, printing,
// snapshots with hash and file form, sharing between two models, and the
// operations a model kind must never receive.

#include "models/SANModel.h"
#include "actions/Activity.h"
#include "state/Place.h"

#include <gtest/gtest.h>

#include <cstring>
#include <memory>
#include <sstream>
#include <vector>

namespace {

// Moves one token from `in` to `out`, reading the markings through pointers
// registered with the places, as generated activities do.
class Move : public Activity {
public:
    Move(const char* name, int group, Place* in, Place* out)
        : Activity(name, group, Exponential, DefaultPolicy, 2, 1, false), in(in), out(out) {}
    bool Enabled() override {
        PreviousEnabled = CurrentEnabled;
        CurrentEnabled = *inMark > 0;
        return CurrentEnabled;
    }
    double Rate() override { return 1.0; }
    BaseActionClass* Fire() override {
        --*inMark;
        ++*outMark;
        return this;
    }
    void LinkVariables() override {
        in->registerPointer(&inMark);
        out->registerPointer(&outMark);
    }
    Place* in;
    Place* out;
    short* inMark = nullptr;
    short* outMark = nullptr;
};

// The one-computer SAN: idle/busy/failed, arrival, completion and two failures.
struct Computer : SANModel {
    Computer() {
        BaseStateVariableClass* places[] = {&idle, &busy, &failed};
        Activity* activities[] = {&arrival, &completion, &busyFail, &idleFail};
        BaseGroupClass* groups[] = {&arrival, &completion, &busyFail, &idleFail};
        initializeSANModelNow("computer", 3, places, 0, nullptr, 4, activities, 4, groups);
        for (Move* m : {&arrival, &completion, &busyFail, &idleFail}) {
            AddAffectArc(m->in, m);
            AddAffectArc(m->out, m);
            AddEnableArc(m->in, m);
            m->LinkVariables();
        }
    }
    Place idle{"idle", 1};
    Place busy{"busy", 0};
    Place failed{"failed", 0};
    Move arrival{"arrival", 0, &idle, &busy};
    Move completion{"completion", 1, &busy, &idle};
    Move busyFail{"busy_fail", 2, &busy, &failed};
    Move idleFail{"idle_fail", 3, &idle, &failed};
};

// A SAN of n places and no activities, for snapshots of a chosen size.
struct Bag : SANModel {
    explicit Bag(int n) {
        std::vector<BaseStateVariableClass*> raw;
        for (int i = 0; i < n; ++i) {
            places.push_back(std::make_unique<Place>("p", 0));
            raw.push_back(places.back().get());
        }
        initializeSANModelNow("bag", n, raw.data(), 0, nullptr, 0, nullptr, 0, nullptr);
    }
    std::vector<std::unique_ptr<Place>> places;
};

std::vector<short> marks(Computer& m) {
    return {m.idle.getMark(), m.busy.getMark(), m.failed.getMark()};
}

TEST(SANModel, PacksItsPlacesInOrderAndRestoresThem) {
    Computer m;
    EXPECT_EQ(m.StateSize(), 6);
    short initial[3] = {};
    m.CurrentState(initial);
    EXPECT_EQ(std::vector<short>(initial, initial + 3), (std::vector<short>{1, 0, 0}));

    m.arrival.Fire();
    EXPECT_EQ(marks(m), (std::vector<short>{0, 1, 0}));
    m.SetState(initial);
    EXPECT_EQ(marks(m), (std::vector<short>{1, 0, 0}));

    short beyond[4] = {1, 0, 0, 5};
    short other[4] = {1, 0, 0, 6};
    EXPECT_TRUE(m.CompareState(beyond, other));
    other[2] = 1;
    EXPECT_FALSE(m.CompareState(beyond, other));
}

TEST(SANModel, ListsActionsGroupsAndVariablesByName) {
    Computer m;
    List<BaseActionClass> named;
    m.listActions(&named);
    EXPECT_EQ(named[3], &m.idleFail);
    named.clearList();
    m.listActions("busy_fail", &named);
    m.listActions("nothing", &named);
    ASSERT_EQ(named.getNumItems(), 1);
    EXPECT_EQ(named[0], &m.busyFail);

    Bag twins(2); // two places named "p"
    List<BaseStateVariableClass> svs;
    List<BaseModelClass> holders;
    twins.listSVs("computer", "p", &svs, &holders);
    EXPECT_EQ(svs.getNumItems(), 0);
    twins.listSVs("bag", "p", &svs, &holders);
    EXPECT_EQ(svs.getNumItems(), 2);
    EXPECT_EQ(holders.getNumItems(), 1);
    EXPECT_EQ(holders[0], &twins);

    EXPECT_TRUE(checkLocalSVs(&m, std::vector<Place*>{&m.idle, &m.busy, &m.failed}.data()));
    EXPECT_FALSE(checkLocalSVs(&m, std::vector<Place*>{&m.idle, &m.failed, &m.busy}.data()));
}

TEST(SANModel, PrintsStateAndDescription) {
    Computer m;
    std::ostringstream out;
    m.printState(&out);
    EXPECT_EQ(out.str(), "Model: (" + std::to_string(m.ModelId) +
                             ")computer\n  idle = 1\n  busy = 0\n  failed = 0\n");

    testing::internal::CaptureStdout();
    m.PrintSANModelInfo();
    std::string expected = "SANModelInfo\n"
                           "Number of Actions = 4, Number of Groups = 4, Number of State "
                           "Variables = 3\n";
    const char* names[] = {"arrival", "completion", "busy_fail", "idle_fail"};
    for (int i = 0; i < 4; ++i)
        expected += std::string("ActionName = ") + names[i] + "\nGroup Id = " + std::to_string(i) +
                    "\nDistributionType = 1\nExecutionPolicy = 1\n"
                    "Number of affected state variables = 2\n"
                    "Number of enabling state variables = 1\n";
    expected += "\n";
    for (const char* n : names)
        expected += std::string("Group Name = ") + n + " \n";
    expected += "Place Name = idle\nPlace Name = busy\nPlace Name = failed\n";
    EXPECT_EQ(testing::internal::GetCapturedStdout(), expected);
}

TEST(SANModel, WithoutPlacesEveryStateIsTheSame) {
    Computer first;
    Bag empty(0);
    EXPECT_EQ(empty.ModelId, first.ModelId + 1);
    EXPECT_EQ(empty.ParentId, empty.ModelId);
    EXPECT_EQ(empty.StateSize(), 0);
    EXPECT_FALSE(empty.HasLocalState());
    char a = 1, b = 2;
    EXPECT_TRUE(empty.CompareState(&a, &b));
}

TEST(LocalState, CapturesRestoresComparesAndPrints) {
    Computer m;
    State *s = nullptr, *t = nullptr;
    m.ConstructLocalState(s);
    m.ConstructLocalState(t);
    m.GetLocalState(s);
    m.arrival.Fire();
    m.GetLocalState(t);
    EXPECT_LT(t->compare(*s), 0); // idle 0 against 1 in the first byte
    m.SetLocalState(s);
    EXPECT_EQ(marks(m), (std::vector<short>{1, 0, 0}));
    *t = *s;
    EXPECT_EQ(s->compare(*t), 0);
    testing::internal::CaptureStdout();
    s->print();
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "    1    0    0    0    0    0\n");
    m.DestructLocalState(s);
    m.DestructLocalState(t);
}

TEST(LocalState, HashWeightsEachByteWithItsPrime) {
    Bag big(129); // 258 bytes
    SANModel::LocalState l(&big);
    auto hashWith = [&l](std::initializer_list<std::pair<int, int>> bytes) {
        std::memset(l.Data, 0, 258);
        for (auto [at, value] : bytes)
            l.Data[at] = static_cast<char>(value);
        return l.hash();
    };
    EXPECT_EQ(hashWith({}), 0u);
    EXPECT_EQ(hashWith({{0, 1}}), 2u);
    EXPECT_EQ(hashWith({{1, 1}}), 3u);
    EXPECT_EQ(hashWith({{1, 0xFF}}), static_cast<std::uint32_t>(-3)); // -1 takes off its prime
    EXPECT_EQ(hashWith({{255, 1}}), 1619u);
    EXPECT_EQ(hashWith({{256, 1}, {257, 2}}), 2u + 2u * 3u); // the 257th byte weighs 2 again
}

TEST(LocalState, BinaryRecordRoundTrip) {
    Computer m;
    m.busy.setMark(-2);
    SANModel::LocalState s(&m), back(&m);
    s.GetState(&m);
    std::FILE* f = std::tmpfile();
    ASSERT_NE(f, nullptr);
    EXPECT_EQ(s.fwriteState(f), 0);
    EXPECT_EQ(std::ftell(f), 10);
    std::rewind(f);
    std::int32_t size = 0;
    ASSERT_EQ(std::fread(&size, 4, 1, f), 1u);
    EXPECT_EQ(size, 6);
    std::rewind(f);
    EXPECT_EQ(back.freadState(f), 0);
    EXPECT_EQ(back.compare(s), 0);
    EXPECT_NE(back.freadState(f), 0); // end of file

    Bag small(1); // a record of another size is refused
    SANModel::LocalState other(&small);
    std::rewind(f);
    EXPECT_NE(other.freadState(f), 0);
    std::fclose(f);
}

// A place shared by two SANs: the absorbed place leaves the second model's
// state, the activities that touch it are global, and their marking pointers
// follow the representative's cell.
TEST(SANModel, PlaceSharedBetweenTwoModels) {
    Place a("a", 3), x("x", 0);
    Place b("b", 1), y("y", 0);
    Move t1("t1", 0, &a, &x);
    Move t2("t2", 0, &b, &y);
    Move t3("t3", 1, &y, &y);
    BaseStateVariableClass* places1[] = {&a, &x};
    Activity* acts1[] = {&t1};
    BaseGroupClass* groups1[] = {&t1};
    SANModel first("first", 2, places1, 0, nullptr, 1, acts1, 1, groups1);
    BaseStateVariableClass* places2[] = {&b, &y};
    Activity* acts2[] = {&t2, &t3};
    BaseGroupClass* groups2[] = {&t2, &t3};
    SANModel second("second", 2, places2, 0, nullptr, 2, acts2, 2, groups2);
    for (Move* t : {&t1, &t2, &t3}) {
        second.AddAffectArc(t->in, t);
        second.AddEnableArc(t->in, t);
        t->LinkVariables();
    }
    EXPECT_EQ(second.StateSize(), 4);

    a.share(&b);
    EXPECT_EQ(second.StateSize(), 2); // the cached size follows the sharing
    EXPECT_EQ(first.StateSize(), 4);  // the representative still counts ...
    short state[2] = {-7, -7};
    first.CurrentState(state); // ... but the walk skips it
    EXPECT_EQ(state[0], 0);
    EXPECT_EQ(state[1], -7);

    EXPECT_EQ(t2.inMark, a.value);
    t2.Fire();
    EXPECT_EQ(a.getMark(), 0);
    EXPECT_EQ(t2.EnablingSVs[0], &a);

    ActionChain global;
    second.GetGlobalActions(global);
    ASSERT_EQ(std::distance(global.begin(), global.end()), 1);
    EXPECT_EQ(global.front(), &t2);
    ActionChain local;
    second.GetLocalActions(local);
    ASSERT_EQ(std::distance(local.begin(), local.end()), 1);
    EXPECT_EQ(local.front(), &t3);
    ActionChain none;
    first.GetGlobalActions(none); // t1 touches only stored places
    EXPECT_TRUE(none.empty());
}

// The smallest model: the base class's pure operations filled in.
struct Minimal : BaseModelClass {
    void listModels(const char*, List<BaseModelClass>*) override {}
    void CurrentState(void*) override {}
    void listActions(List<BaseActionClass>*) override {}
    void listGroups(List<BaseGroupClass>*) override {}
    void SetState(void*) override {}
    int StateSize() override { return 0; }
    bool CompareState(void*, void*) override { return true; }
    void listActions(const char*, List<BaseActionClass>*) override {}
    void listSVs(const char*, const char*, List<BaseStateVariableClass>*,
                 List<BaseModelClass>*) override {}
};

TEST(ModelDeathTest, UnsupportedOperationsNameSourceAndOperation) {
    Minimal m;
    ActionChain chain;
    State* s = nullptr;
    EXPECT_DEATH(m.GetModelType(), "BaseModelClass: GetModelType");
    EXPECT_DEATH(m.GetNumberOfChildren(), "BaseModelClass: GetNumberOfChildren");
    EXPECT_DEATH(m.GetChild(0), "BaseModelClass: GetChild");
    EXPECT_DEATH(m.GetLocalActions(chain), "BaseModelClass: GetLocalActions");
    EXPECT_DEATH(m.GetGlobalActions(chain), "BaseModelClass: GetGlobalActions");
    EXPECT_DEATH(m.HasLocalState(), "BaseModelClass: HasLocalState");
    EXPECT_DEATH(m.GetLocalState(s), "BaseModelClass: GetLocalState");
    EXPECT_DEATH(m.SetLocalState(s), "BaseModelClass: SetLocalState");
    EXPECT_DEATH(m.ConstructLocalState(s), "BaseModelClass: ConstructLocalState");
    EXPECT_DEATH(m.DestructLocalState(s), "BaseModelClass: DestructLocalState");

    Computer san;
    EXPECT_DEATH(san.GetChild(0), "SANModel: GetChild");
    SANModel::LocalState six(&san);
    Bag one(1);
    SANModel::LocalState two(&one);
    EXPECT_DEATH(six = two, "SANModel: LocalState::operator=: Assertion `size == _localS->size'");
}

} // namespace
