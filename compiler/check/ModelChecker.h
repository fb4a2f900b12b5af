#pragma once
// ModelChecker: the checker's work on one parsed model file, from the names
// table to the checked model. Its members are defined by topic: names, study,
// structures, places and groups in ModelChecker.cpp, activities in
// ActivityChecks.cpp, rewards in RewardChecks.cpp, the erlang activities' phase
// counters and what the generator could not explore in ShapeChecks.cpp.

#include "Ast.h"
#include "Diagnostics.h"
#include "Model.h"
#include "check/StudyLiterals.h"

#include <map>
#include <string>
#include <vector>

// "line:column" of a position, as messages cite earlier declarations.
std::string where(SourceLocation at);

// Appends p to v unless v holds it.
void addUnique(std::vector<int>& v, int p);

// Checks one model file; the file and the diagnostics outlive it (not owned).
class ModelChecker {
public:
    ModelChecker(const ModelFile& f, Diagnostics& d) : file(f), diag(d), literals(d) {}
    ModelChecker(const ModelChecker&) = delete;
    ModelChecker& operator=(const ModelChecker&) = delete;
    // The checked model; meaningful only when no error was reported.
    CheckedModel run(const std::string& fileName);

private:
    enum class Kind { Model, Global, Struct, Place, Activity, Group, Condition, Define };
    // A declared name: its kind, its index among its kind, where it was declared.
    struct Entry {
        Kind kind;
        int index;
        SourceLocation at;
    };

    bool declare(const Name& n, Kind kind, int index);
    bool validName(const Name& n, bool global);
    const Entry* lookup(const std::string& name) const;
    static const char* kindName(Kind k);
    SourceLocation locate(const Fragment& f, std::size_t offset) const;
    // The places a fragment names; with `what` set, naming one is an error.
    CheckedFragment resolve(const Fragment& f, const char* what = nullptr);
    // The named expression that `name` declares, or null.
    const Entry* defineEntry(const std::string& name) const;

    // The values the study gives, per global, while the study is checked.
    struct Given {
        bool set = false;
        bool constant = false;
        SourceLocation at;
        std::vector<std::string> values;
    };
    struct StudyValues {
        std::vector<Given> given; // per global
        int experiments = -1;     // -1 until a list, range or table sets it
        std::string countSetBy;   // who set it, for messages
        SourceLocation countSetAt;
    };
    // The places an activity's clauses name, by use.
    struct ClausePlaces {
        std::vector<int> when, effect, other;
    };

    void checkGlobals();
    void checkStudy();
    Given* studyTarget(StudyValues& s, const Name& n);
    void agree(StudyValues& s, int count, const std::string& global, SourceLocation at);
    void checkStudyEntry(StudyValues& s, const StudyEntry& e);
    void checkStudyTable(StudyValues& s, const StudyTable& t);
    void checkStructs();
    void checkPlaces();
    void checkInitialValues();
    void checkActivities();
    void checkActivity(const ActivityDecl& a);
    void checkFamily(const ActivityDecl& a, CheckedActivity& c);
    bool clauseAllowed(const ActivityDecl& a, const ClauseDecl& cl);
    void checkArcs(const ClauseDecl& cl, CheckedActivity& c);
    void checkValueClause(const ClauseDecl& cl, CheckedActivity& c, ClausePlaces& places);
    void missingClauses(const ActivityDecl& a, const CheckedActivity& c);
    // A sampled activity's parameter clause, its literal value checked against its range.
    void checkParameter(const ClauseDecl& cl, const CheckedFragment& f, CheckedActivity& c);
    // Literal low, high and mode of a uniform or triangular activity, checked in order.
    void checkParameterOrder(const ActivityDecl& a, const CheckedActivity& c);
    static void collectPlaces(CheckedActivity& c, const ClausePlaces& places);
    void findOwnElementArrays(CheckedActivity& a);
    void checkGroups();
    // Named expressions: their names, then their bodies, uses and cycles.
    void declareDefines();
    void checkDefines();
    void orderDefines(int d, std::vector<int>& state, std::vector<int>& path,
                      std::vector<int>& order);
    void checkStops();
    // Adds the stops' places and named expressions to an activity's enabling.
    void addStops(CheckedActivity& c);
    // Adds the named expressions of `from` to `into`, keeping defineOrder.
    void mergeDefines(std::vector<int>& into, const std::vector<int>& from) const;
    // Gives every erlang activity its hidden phase counter, shared within a group.
    void addPhaseCounters();
    int addPhaseCounter(const std::string& owner);
    // Refuses a correct file whose model the generator would refuse to explore.
    void checkExplorable();
    void checkRewards();
    bool checkRewardTimes(const RewardDecl& r, CheckedReward& c);
    bool instantTimes(const RewardDecl& r, CheckedReward& c);
    void checkImpulses(const RewardDecl& r, CheckedReward& c);

    const ModelFile& file;              // not owned
    Diagnostics& diag;                  // not owned
    StudyLiterals literals;             // converts the study's literals and the rewards' times
    CheckedModel m;                     // the model being built, returned by run()
    std::map<std::string, Entry> names; // the shared name space, by name
    std::vector<int> defineOrder;       // the named expressions, each after those it uses
};
