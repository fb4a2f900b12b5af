// SAN models and their local state: comparing, listing, printing, snapshots with
// hash and file form, sharing between two models, and the operations a model
// kind must never receive. Packing and exploring real models is checked by the
// generator's tests and end to end.

#include "models/SANModel.h"
#include "actions/Activity.h"
#include "state/Place.h"
#include "state/StructStateVariable.h"

#include <algorithm>
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
    BaseActionClass* Fire() override {
        --*inMark;
        ++*outMark;
        return this;
    }
    void LinkVariables() override {
        in->registerPointer(&inMark);
        out->registerPointer(&outMark);
    }
    Place *in, *out;
    short *inMark = nullptr, *outMark = nullptr;
};

// A SAN named `name` over the given places and moves, with their arcs.
struct San : SANModel {
    San(const char* name, std::vector<BaseStateVariableClass*> places, std::vector<Move*> moves) {
        std::vector<Activity*> activities(moves.begin(), moves.end());
        std::vector<BaseGroupClass*> groups(moves.begin(), moves.end());
        initializeSANModelNow(name, static_cast<int>(places.size()), places.data(), 0, nullptr,
                              static_cast<int>(moves.size()), activities.data(),
                              static_cast<int>(moves.size()), groups.data());
        for (Move* m : moves) {
            AddAffectArc(m->in, m);
            AddAffectArc(m->out, m);
            AddEnableArc(m->in, m);
            m->LinkVariables();
        }
    }
};

// idle -> busy by arrival, back by completion.
struct Server {
    Place idle{"idle", 1}, busy{"busy", 0};
    Move arrival{"arrival", 0, &idle, &busy}, completion{"completion", 1, &busy, &idle};
    San san{"server", {&idle, &busy}, {&arrival, &completion}};
};

std::string stdoutOf(auto&& print) {
    testing::internal::CaptureStdout();
    print();
    return testing::internal::GetCapturedStdout();
}

TEST(SANModel, ComparesListsAndPrints) {
    Server m;
    short beyond[3] = {1, 0, 5}, other[3] = {1, 0, 6};
    EXPECT_TRUE(m.san.CompareState(beyond, other)); // only StateSize() bytes count
    other[1] = 1;
    EXPECT_FALSE(m.san.CompareState(beyond, other));
    San empty("empty", {}, {});
    EXPECT_EQ(empty.ModelId, m.san.ModelId + 1);
    EXPECT_FALSE(empty.HasLocalState());
    EXPECT_TRUE(empty.CompareState(beyond, other));

    Place p1("p", 0), p2("p", 0);
    San twins("twins", {&p1, &p2}, {});
    List<BaseStateVariableClass> svs;
    List<BaseModelClass> holders;
    twins.listSVs("server", "p", &svs, &holders); // another model's name
    EXPECT_EQ(svs.getNumItems(), 0);
    twins.listSVs("twins", "p", &svs, &holders);
    EXPECT_EQ(svs.getNumItems(), 2);
    ASSERT_EQ(holders.getNumItems(), 1);
    EXPECT_EQ(holders[0], &twins);
    EXPECT_TRUE(checkLocalSVs(&m.san, std::vector<Place*>{&m.idle, &m.busy}.data()));
    EXPECT_FALSE(checkLocalSVs(&m.san, std::vector<Place*>{&m.busy, &m.idle}.data()));

    std::ostringstream out;
    m.san.printState(&out);
    EXPECT_EQ(out.str(),
              "Model: (" + std::to_string(m.san.ModelId) + ")server\n  idle = 1\n  busy = 0\n");
    EXPECT_EQ(stdoutOf([&] { m.san.PrintSANModelInfo(); }),
              "SANModelInfo\n"
              "Number of Actions = 2, Number of Groups = 2, Number of State Variables = 2\n"
              "ActionName = arrival\nGroup Id = 0\nDistributionType = 1\nExecutionPolicy = 1\n"
              "Number of affected state variables = 2\nNumber of enabling state variables = 1\n"
              "ActionName = completion\nGroup Id = 1\nDistributionType = 1\nExecutionPolicy = 1\n"
              "Number of affected state variables = 2\nNumber of enabling state variables = 1\n"
              "\nGroup Name = arrival \nGroup Name = completion \n"
              "Place Name = idle\nPlace Name = busy\n");
}

TEST(LocalState, CapturesRestoresComparesPrintsAndRoundTripsThroughAFile) {
    Server m;
    State *s = nullptr, *t = nullptr;
    m.san.ConstructLocalState(s);
    m.san.ConstructLocalState(t);
    m.san.GetLocalState(s);
    m.arrival.Fire();
    m.san.GetLocalState(t);
    EXPECT_LT(t->compare(*s), 0); // idle 0 against 1 in the first byte
    m.san.SetLocalState(s);
    EXPECT_EQ(m.idle.getMark() * 10 + m.busy.getMark(), 10);
    *t = *s;
    EXPECT_EQ(s->compare(*t), 0);
    EXPECT_EQ(stdoutOf([&] { s->print(); }), "    1    0    0    0\n");

    m.busy.setMark(-2);
    m.san.GetLocalState(s);
    std::FILE* f = std::tmpfile();
    ASSERT_NE(f, nullptr);
    EXPECT_EQ(s->fwriteState(f), 0);
    EXPECT_EQ(std::ftell(f), 8);
    std::rewind(f);
    std::int32_t size = 0;
    ASSERT_EQ(std::fread(&size, 4, 1, f), 1u);
    EXPECT_EQ(size, 4);
    std::rewind(f);
    EXPECT_EQ(t->freadState(f), 0);
    EXPECT_EQ(t->compare(*s), 0);
    EXPECT_NE(t->freadState(f), 0); // end of file
    Place lone("lone", 0);
    San small("small", {&lone}, {});
    SANModel::LocalState other(&small);
    std::rewind(f);
    EXPECT_NE(other.freadState(f), 0); // a record of another size
    std::fclose(f);
    m.san.DestructLocalState(s);
    m.san.DestructLocalState(t);
}

TEST(LocalState, HashWeightsEachByteWithItsPrime) {
    std::vector<std::unique_ptr<Place>> places;
    std::vector<BaseStateVariableClass*> raw;
    for (int i = 0; i < 129; ++i) // 258 bytes
        raw.push_back(places.emplace_back(std::make_unique<Place>("p", 0)).get());
    San big("big", raw, {});
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

// A place shared by two SANs: the absorbed place leaves the second model's
// state, the activities that touch it are global, and their marking pointers
// follow the representative's cell.
TEST(SANModel, PlaceSharedBetweenTwoModels) {
    Place a("a", 3), x("x", 0), b("b", 1), y("y", 0);
    Move t1("t1", 0, &a, &x), t2("t2", 0, &b, &y), t3("t3", 1, &y, &y);
    San first("first", {&a, &x}, {&t1});
    San second("second", {&b, &y}, {&t2, &t3});
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

    ActionChain global, local, none;
    second.GetGlobalActions(global);
    EXPECT_EQ(std::vector<BaseActionClass*>(global.begin(), global.end()),
              std::vector<BaseActionClass*>{&t2});
    second.GetLocalActions(local);
    EXPECT_EQ(std::vector<BaseActionClass*>(local.begin(), local.end()),
              std::vector<BaseActionClass*>{&t3});
    first.GetGlobalActions(none); // t1 touches only stored places
    EXPECT_TRUE(none.empty());
}

// StateSize is the sum over the stored places as they are now: flags written
// directly and fields added to a structure after a first call count at once,
// and CurrentState writes exactly that many bytes.
TEST(SANModel, StateSizeFollowsEveryChangeOfItsPlaces) {
    constexpr ArrayType oneShort[1] = {ShortElement};
    Place a("a", 1), b("b", 2), extra("extra", 7);
    Place cell("cell", 3);
    BaseStructStateVariable record("record", "", oneShort, 1);
    record.fields[0].var = &cell;
    San model("m", {&a, &b, &record}, {});
    std::vector<char> buffer(16, 'x');
    auto written = [&] {
        std::fill(buffer.begin(), buffer.end(), 'x');
        model.CurrentState(buffer.data());
        auto last = std::find_if(buffer.rbegin(), buffer.rend(), [](char c) { return c != 'x'; });
        return static_cast<int>(buffer.rend() - last); // bytes up to the last one written
    };
    EXPECT_EQ(model.StateSize(), 6);
    EXPECT_EQ(written(), 6);

    b.shared = true; // written directly, as a generated class may
    b.stored = false;
    EXPECT_EQ(model.StateSize(), 4);
    EXPECT_EQ(written(), 4);
    short first[8] = {1, 3, 5}, second[8] = {1, 3, 6};
    EXPECT_TRUE(model.CompareState(first, second)); // the third short is beyond the size

    record.fields.push_back({&extra, ShortElement}); // a field added after a first call
    EXPECT_EQ(model.StateSize(), 6);
    EXPECT_EQ(written(), 6);
    EXPECT_FALSE(model.CompareState(first, second));
    b.shared = false; // b owns its cell and lists again, and frees them
    b.stored = true;
}

TEST(ModelDeathTest, UnsupportedOperationsNameSourceAndOperation) {
    Server m;
    BaseModelClass& base = m.san; // the base versions, called without dispatch
    ActionChain chain;
    State* s = nullptr;
    EXPECT_DEATH(base.BaseModelClass::GetModelType(), "BaseModelClass: GetModelType");
    EXPECT_DEATH(base.BaseModelClass::GetNumberOfChildren(), "BaseModelClass: GetNumberOfChildren");
    EXPECT_DEATH(base.BaseModelClass::GetChild(0), "BaseModelClass: GetChild");
    EXPECT_DEATH(base.BaseModelClass::GetLocalActions(chain), "BaseModelClass: GetLocalActions");
    EXPECT_DEATH(base.BaseModelClass::GetGlobalActions(chain), "BaseModelClass: GetGlobalActions");
    EXPECT_DEATH(base.BaseModelClass::HasLocalState(), "BaseModelClass: HasLocalState");
    EXPECT_DEATH(base.BaseModelClass::GetLocalState(s), "BaseModelClass: GetLocalState");
    EXPECT_DEATH(base.BaseModelClass::SetLocalState(s), "BaseModelClass: SetLocalState");
    EXPECT_DEATH(base.BaseModelClass::ConstructLocalState(s),
                 "BaseModelClass: ConstructLocalState");
    EXPECT_DEATH(base.BaseModelClass::DestructLocalState(s), "BaseModelClass: DestructLocalState");
    EXPECT_DEATH(m.san.GetChild(0), "SANModel: GetChild");
    Place lone("lone", 0);
    San small("small", {&lone}, {});
    SANModel::LocalState four(&m.san), two(&small);
    EXPECT_DEATH(four = two, "SANModel: LocalState::operator=: Assertion `size == _localS->size'");
}

} // namespace
