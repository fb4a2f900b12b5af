// The map of a model's cells (what the generator saves and restores through)
// and the packing of those cells into one buffer: the map must move exactly
// the bytes of the model's own SetState/CurrentState, decline what it cannot
// describe, and packing must keep every registered pointer on its cell.

#include "models/StateMap.h"
#include "actions/Activity.h"
#include "models/SANModel.h"
#include "state/Place.h"
#include "state/StructStateVariable.h"

#include <gtest/gtest.h>

#include <cstring>
#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace {

// A structure whose fields are the given variables (not owned), with the
// given element types.
struct Record : BaseStructStateVariable {
    Record(const char* name, std::vector<std::pair<ArrayType, BaseStateVariableClass*>> f)
        : BaseStructStateVariable(name, "") {
        for (auto& [type, var] : f)
            fields.push_back(field(type, var));
        stateSize = -1;
    }
};

// A structure that packs its fields in reverse order: a layout of its own,
// which the map (field order) does not describe.
struct ReversedRecord : Record {
    using Record::Record;
    void CurrentState(void* to) override {
        char* p = static_cast<char*>(to);
        for (auto f = fields.rbegin(); f != fields.rend(); ++f, p += 2)
            f->var->CurrentState(p);
    }
    void SetState(void* from) override {
        char* p = static_cast<char*>(from);
        for (auto f = fields.rbegin(); f != fields.rend(); ++f, p += 2)
            f->var->SetState(p);
    }
};

// A state variable that is not made of framework cells.
struct Opaque : BaseStateVariableClass {
    short v = 7;
    int StateSize() override { return 2; }
    void SetState(void* from) override { std::memcpy(&v, from, 2); }
    void CurrentState(void* to) override { std::memcpy(to, &v, 2); }
    void share(BaseStateVariableClass*) override {}
};

// Adds one token to `place` through a pointer registered with it.
struct Add : Activity {
    Add(const char* name, Place* place)
        : Activity(name, 0, Exponential, DefaultPolicy, 1, 0, false), place(place) {}
    BaseActionClass* Fire() override {
        ++*mark;
        return this;
    }
    void LinkVariables() override { place->registerPointer(&mark); }
    Place* place;
    short* mark = nullptr;
};

// A SAN over the given places with one activity, `add`, on `target`.
struct San : SANModel {
    San(const char* name, std::vector<BaseStateVariableClass*> places, Place* target)
        : add("add", target) {
        Activity* activities[] = {&add};
        BaseGroupClass* groups[] = {&add};
        initializeSANModelNow(name, static_cast<int>(places.size()), places.data(), 0, nullptr, 1,
                              activities, 1, groups);
        add.LinkVariables();
    }
    Add add;
};

std::vector<char> current(BaseModelClass& m) {
    std::vector<char> v(static_cast<std::size_t>(m.StateSize()), 0);
    m.CurrentState(v.data());
    return v;
}

std::vector<char> saved(const StateMap& map, std::size_t size) {
    std::vector<char> v(size, 0);
    map.save(v.data());
    return v;
}

// A model with a plain place, a record of a short, an int and a double, and a
// nested record: the map gives CurrentState's bytes and loads SetState's.
TEST(StateMap, CellsOfPlacesAndNestedRecordsMoveAsTheWalkMovesThem) {
    Place a("a", 3), s("s", 5), inner("inner", 9), last("last", 11);
    SharableSV<int> i;
    SharableSV<double> d;
    *i.value = 123456;
    *d.value = 2.5;
    Record nested("nested", {{ShortElement, &inner}});
    Record record(
        "record",
        {{ShortElement, &s}, {IntElement, &i}, {DoubleElement, &d}, {StructElement, &nested}});
    San san("san", {&a, &record, &last}, &a);
    ASSERT_EQ(san.StateSize(), 2 + 2 + 4 + 8 + 2 + 2);

    StateMap map;
    ASSERT_TRUE(san.GetStateMap(map));
    std::vector<std::uint32_t> offsets, lengths;
    for (const StateMap::Cell& c : map.cells()) {
        offsets.push_back(c.offset);
        lengths.push_back(c.length);
    }
    EXPECT_EQ(offsets, (std::vector<std::uint32_t>{0, 2, 4, 8, 16, 18}));
    EXPECT_EQ(lengths, (std::vector<std::uint32_t>{2, 2, 4, 8, 2, 2}));
    EXPECT_EQ(saved(map, 20), current(san));
    EXPECT_TRUE(map.agreesWith(&san, 20));

    std::vector<char> other = current(san);
    other[0] = 4;     // a
    other[4] ^= 0x11; // part of i
    other[18] = 13;   // last
    map.restore(other.data());
    EXPECT_EQ(a.getMark(), 4);
    EXPECT_EQ(last.getMark(), 13);
    EXPECT_EQ(current(san), other);
    EXPECT_EQ(map.contiguous(20), nullptr); // separately allocated cells
}

// What the map cannot describe makes the model decline it (the generator then
// keeps the model's own SetState/CurrentState); a layout of its own is caught
// by the check against the model.
TEST(StateMap, ModelsItCannotDescribeDeclineOrFailTheCheck) {
    {
        Opaque o;
        Place p("p", 1);
        San san("san", {&p, &o}, &p);
        StateMap map;
        EXPECT_FALSE(san.GetStateMap(map));
        EXPECT_TRUE(map.cells().empty());
    }
    {
        // An int slot holding a short: a gap the walk never writes.
        Place p("p", 1), q("q", 2);
        Record r("r", {{IntElement, &p}, {ShortElement, &q}});
        San san("san", {&r}, &p);
        StateMap map;
        EXPECT_FALSE(san.GetStateMap(map));
    }
    {
        Place p("p", 1), q("q", 2);
        ReversedRecord r("r", {{ShortElement, &p}, {ShortElement, &q}});
        San san("san", {&r}, &p);
        StateMap map;
        ASSERT_TRUE(san.GetStateMap(map));     // it inherits the field walk's map ...
        EXPECT_FALSE(map.agreesWith(&san, 4)); // ... which the check refuses
        EXPECT_EQ(p.getMark(), 1);             // and the model keeps its state
        EXPECT_EQ(q.getMark(), 2);
    }
}

// After packing, the model's state is one vector in memory in state order;
// markings, activities' pointers and the walk all see the moved cells.
TEST(StateMap, PackedCellsFormTheStateVectorAndKeepRegisteredPointers) {
    Place a("a", 3), s("s", 5), t("t", 6);
    SharableSV<int> i;
    *i.value = -2;
    Record record("record", {{ShortElement, &s}, {ShortElement, &t}, {IntElement, &i}});
    Place* b = new Place("b", 8);
    {
        San san("san", {&record, &a, b}, &t); // s 0, t 2, i 4, a 8, b 10
        std::vector<char> before = current(san);
        ASSERT_TRUE(san.PackStateCells());
        EXPECT_TRUE(san.PackStateCells()); // a second call changes nothing

        StateMap map;
        ASSERT_TRUE(san.GetStateMap(map));
        ASSERT_EQ(map.runs().size(), 1u);
        char* vector = map.contiguous(12);
        ASSERT_NE(vector, nullptr);
        EXPECT_EQ(std::vector<char>(vector, vector + 12), before);
        EXPECT_EQ(static_cast<void*>(t.Mark), vector + 2);
        EXPECT_EQ(static_cast<void*>(i.value), vector + 4);

        san.add.Fire(); // t through the activity's registered pointer
        EXPECT_EQ(t.getMark(), 7);
        short seven;
        std::memcpy(&seven, vector + 2, 2);
        EXPECT_EQ(seven, 7);
        b->setMark(1);
        EXPECT_EQ(current(san), std::vector<char>(vector, vector + 12));
        EXPECT_TRUE(map.agreesWith(&san, 12));
        delete b; // a place may go before the model: it does not free a packed cell
    }
    // ... or after it (a, s, t, i outlive the model here).
}

// Fields lie end to end without padding, so a vector may need to start off the
// buffer's own alignment for its cells to be aligned: a char then a short
// starts one byte in (odd), a short then a double six bytes past a multiple of
// eight, so that the double is aligned.
TEST(StateMap, PackingStartsTheVectorWhereEveryCellIsAligned) {
    struct Case {
        const char* what;
        bool charFirst;       // char, short; else short, double, char
        std::uint32_t size;   // bytes of the vector
        std::uintptr_t start; // where it must start, modulo `modulus`
        std::uintptr_t modulus;
    };
    const Case cases[] = {{"char, short", true, 3, 1, 2}, {"short, double, char", false, 11, 6, 8}};
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        SharableSV<char> ch;
        *ch.value = 'x';
        SharableSV<double> d;
        *d.value = 2.5;
        Place p("p", 300);
        std::vector<std::pair<ArrayType, BaseStateVariableClass*>> fields;
        if (c.charFirst)
            fields = {{CharElement, &ch}, {ShortElement, &p}};
        else
            fields = {{ShortElement, &p}, {DoubleElement, &d}, {CharElement, &ch}};
        Record record("record", fields);
        San san("san", {&record}, &p);
        std::vector<char> before = current(san);
        ASSERT_EQ(before.size(), c.size);
        ASSERT_TRUE(san.PackStateCells());

        StateMap map;
        ASSERT_TRUE(san.GetStateMap(map));
        char* vector = map.contiguous(c.size);
        ASSERT_NE(vector, nullptr);
        EXPECT_EQ(reinterpret_cast<std::uintptr_t>(vector) % c.modulus, c.start);
        EXPECT_EQ(std::vector<char>(vector, vector + c.size), before);
        EXPECT_EQ(reinterpret_cast<std::uintptr_t>(p.Mark) % alignof(short), 0u);
        EXPECT_EQ(reinterpret_cast<std::uintptr_t>(d.value) % alignof(double), 0u);
        san.add.Fire(); // through the activity's registered pointer
        EXPECT_EQ(p.getMark(), 301);
        EXPECT_EQ(*d.value, 2.5);
        EXPECT_EQ(*ch.value, 'x');
        EXPECT_TRUE(map.agreesWith(&san, c.size));
    }
}

// Packing declines and leaves every cell in place when the state cannot be one
// aligned buffer.
TEST(StateMap, PackingDeclinesWhatCannotBeOneAlignedBuffer) {
    struct Case {
        const char* what;
        std::function<void(std::vector<BaseStateVariableClass*>&,
                           std::vector<std::unique_ptr<BaseStateVariableClass>>&)>
            build;
    };
    auto place = [](std::vector<std::unique_ptr<BaseStateVariableClass>>& own, const char* name) {
        own.push_back(std::make_unique<Place>(name, 1));
        return static_cast<Place*>(own.back().get());
    };
    std::vector<Case> cases = {
        {"a short before and after a char: no start aligns both",
         [](auto& places, auto& own) {
             own.push_back(std::make_unique<Place>("p", 1));
             auto* p = own.back().get();
             own.push_back(std::make_unique<SharableSV<char>>());
             auto* c = own.back().get();
             own.push_back(std::make_unique<Place>("q", 1));
             auto* q = own.back().get();
             own.push_back(std::make_unique<Record>(
                 "r", std::vector<std::pair<ArrayType, BaseStateVariableClass*>>{
                          {ShortElement, p}, {CharElement, c}, {ShortElement, q}}));
             places.push_back(own.back().get());
         }},
        {"one cell at two positions",
         [&](auto& places, auto& own) {
             Place* x = place(own, "x");
             Place* y = place(own, "y");
             x->share(y);
             own.push_back(std::make_unique<Record>(
                 "r", std::vector<std::pair<ArrayType, BaseStateVariableClass*>>{
                          {ShortElement, x}, {ShortElement, y}}));
             places.push_back(own.back().get());
         }},
        {"a group's representative counts but is not written",
         [&](auto& places, auto& own) {
             Place* x = place(own, "x");
             Place* y = place(own, "y");
             x->share(y); // x: shared and stored
             places.push_back(x);
         }},
        {"a variable that is not made of cells",
         [](auto& places, auto& own) {
             own.push_back(std::make_unique<Opaque>());
             places.push_back(own.back().get());
         }},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        std::vector<BaseStateVariableClass*> places;
        std::vector<std::unique_ptr<BaseStateVariableClass>> own;
        Place target("target", 0);
        c.build(places, own);
        places.push_back(&target);
        San san("san", places, &target);
        short* before = target.Mark;
        EXPECT_FALSE(san.PackStateCells());
        EXPECT_FALSE(san.statePacked());
        EXPECT_EQ(target.Mark, before);
        EXPECT_EQ(san.add.mark, before);
    }
}

// Structures shared between two models before packing: the other model's
// field and its activity follow the cell into the packed buffer.
TEST(StateMap, FieldsSharedWithAnotherModelFollowThePackedCell) {
    Place f1("f1", 1), f2("f2", 2), g1("g1", 0), g2("g2", 0);
    Record mine("mine", {{ShortElement, &f1}, {ShortElement, &f2}});
    Record theirs("theirs", {{ShortElement, &g1}, {ShortElement, &g2}});
    San first("first", {&mine}, &f1);
    San second("second", {&theirs}, &g2);
    mine.share(&theirs); // fields pair up; g1, g2 take mine's cells and values
    ASSERT_TRUE(first.PackStateCells());
    EXPECT_EQ(first.StateSize(), 4);
    EXPECT_EQ(second.StateSize(), 0); // theirs is no longer stored

    std::vector<char> next = {5, 0, 6, 0};
    short five = 5, six = 6;
    std::memcpy(next.data(), &five, 2);
    std::memcpy(next.data() + 2, &six, 2);
    first.SetState(next.data());
    EXPECT_EQ(g1.getMark(), 5);
    EXPECT_EQ(g2.getMark(), 6);
    second.add.Fire(); // g2, which is f2's packed cell
    EXPECT_EQ(f2.getMark(), 7);
    EXPECT_EQ(current(first)[2], 7);
}

TEST(StateMapDeathTest, SharingAfterPackingIsAProgrammingError) {
    Place p("p", 1), q("q", 2);
    San san("san", {&p}, &p);
    ASSERT_TRUE(san.PackStateCells());
    EXPECT_DEATH(q.share(&p), "SharableSV");
}

} // namespace
