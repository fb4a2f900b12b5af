// Checks of a model's structure made before anything is explored: group ids
// that are not their group's position, and activities whose LinkVariables()
// was never called. Each ends the run with one line naming model and activity.

#include "firing/ModelChecks.h"

#include "actions/Activity.h"
#include "actions/BaseGroupClass.h"
#include "models/SANModel.h"
#include "state/Place.h"

#include <gtest/gtest.h>

#include <memory>
#include <vector>

namespace {

// Moves a token from `in` to `out`; with `bindMarkings` it reads the markings
// through registered pointers, as generated activities do, else through the
// places themselves.
class Move : public Activity {
public:
    Move(const char* name, int group, Place* in, Place* out, bool bindMarkings)
        : Activity(name, group, Exponential, DefaultPolicy, 2, 1, false), in(in), out(out),
          bindMarkings(bindMarkings) {}
    bool Enabled() override { return (bindMarkings ? *inMark : in->getMark()) > 0; }
    BaseActionClass* Fire() override { return this; }
    void LinkVariables() override {
        if (!bindMarkings)
            return;
        in->registerPointer(&inMark);
        out->registerPointer(&outMark);
    }
    Place *in, *out;
    bool bindMarkings;
    short *inMark = nullptr, *outMark = nullptr;
};

// idle -> busy -> idle and idle -> failed, each activity its own group unless
// `groups` says otherwise; `linked[i]` says whether move i gets LinkVariables().
struct Machine : SANModel {
    Machine(std::vector<bool> linked, bool bindMarkings,
            std::vector<BaseGroupClass*> groups = {}) {
        moves.push_back(std::make_unique<Move>("arrival", 0, &idle, &busy, bindMarkings));
        moves.push_back(std::make_unique<Move>("completion", 1, &busy, &idle, bindMarkings));
        moves.push_back(std::make_unique<Move>("fail", 2, &idle, &failed, bindMarkings));
        std::vector<Activity*> activities;
        for (auto& m : moves)
            activities.push_back(m.get());
        if (groups.empty())
            groups.assign(activities.begin(), activities.end());
        BaseStateVariableClass* places[] = {&idle, &busy, &failed};
        initializeSANModelNow("machine", 3, places, 0, nullptr, 3, activities.data(),
                              static_cast<int>(groups.size()), groups.data());
        for (std::size_t i = 0; i < moves.size(); ++i) {
            AddAffectArc(moves[i]->in, moves[i].get());
            AddAffectArc(moves[i]->out, moves[i].get());
            AddEnableArc(moves[i]->in, moves[i].get());
            if (linked[i])
                moves[i]->LinkVariables();
        }
    }
    void check() { checkMarkingsBound(Actions, NumActions); }
    void checkGroups() { checkGroupIds(Actions, NumActions, Groups, NumGroups); }

    Place idle{"idle", 1}, busy{"busy", 0}, failed{"failed", 0};
    std::vector<std::unique_ptr<Move>> moves;
};

TEST(ModelChecksTest, BoundModelsAndModelsThatBindNothingPass) {
    Machine({true, true, true}, true).check();
    Machine({false, false, false}, false).check(); // reads its places directly
    Machine({true, true, true}, false).check();    // its LinkVariables() binds nothing
}

TEST(ModelChecksDeathTest, ActivityWhoseLinkVariablesWasNeverCalled) {
    EXPECT_EXIT(Machine({true, false, true}, true).check(), testing::ExitedWithCode(1),
                "^Error: activity completion of model machine has bound no marking pointer: its "
                "LinkVariables\\(\\) was not called\n$");
    EXPECT_EXIT(Machine({true, true, false}, true).check(), testing::ExitedWithCode(1),
                "^Error: activity fail of model machine has bound no marking pointer");
}

TEST(ModelChecksTest, GroupIdsThatAreTheirGroupsPositionsPass) {
    Machine own({true, true, true}, true);
    own.checkGroups();
    // One shared group at position 0 holding arrival and fail, completion alone at 1.
    BaseGroupClass shared("shared", 0, Exponential, DefaultPolicy, 0, 0, false);
    Machine grouped({true, true, true}, true);
    shared.appendGroup(grouped.moves[0].get());
    shared.appendGroup(grouped.moves[2].get());
    grouped.moves[0]->setGroupId(0);
    grouped.moves[1]->setGroupId(1);
    grouped.moves[2]->setGroupId(0);
    BaseGroupClass* groups[] = {&shared, grouped.moves[1].get()};
    grouped.NumGroups = 2;
    grouped.SetGroups(groups);
    grouped.checkGroups();
}

TEST(ModelChecksDeathTest, GroupIdThatIsNotItsGroupsPosition) {
    struct Case {
        int move, id;
        const char* message;
    };
    const Case cases[] = {
        {1, 2,
         "^Error: action completion of model machine names group 2, but group 2 \\(fail\\) does "
         "not hold it: a group id is the position of the action's group in the model's group "
         "list\n$"},
        {2, 0, "^Error: action fail of model machine names group 0, but group 0 \\(arrival\\)"},
        {0, 3, "^Error: action arrival of model machine names group 3, but the model has 3 "
               "groups\n$"},
        {0, -1, "^Error: action arrival of model machine names group -1, but the model has 3"},
    };
    for (const Case& c : cases) {
        Machine m({true, true, true}, true);
        m.moves[static_cast<std::size_t>(c.move)]->setGroupId(c.id);
        EXPECT_EXIT(m.checkGroups(), testing::ExitedWithCode(1), c.message) << c.move;
    }
}

} // namespace
