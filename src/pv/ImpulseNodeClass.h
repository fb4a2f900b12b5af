#pragma once
// ImpulseNodeClass: evaluates one impulse reward of a performance variable when
// the impulse's action fires in one instance of the action's model. Generated
// code derives one class per impulse; one object of it is registered with the
// node and creates the impulse's workers.

class BaseModelClass;

class ImpulseNodeClass {
public:
    ImpulseNodeClass() = default;
    // Releases Name; ModelRefs belongs to the derived class.
    virtual ~ImpulseNodeClass();
    ImpulseNodeClass(const ImpulseNodeClass&) = delete;
    ImpulseNodeClass& operator=(const ImpulseNodeClass&) = delete;

    virtual void EndAccumulate(double now) = 0;
    // The impulse's reward expression for the firing being handled; the
    // framework itself never calls it.
    virtual double Impulse_Function() = 0;
    virtual void Accumulate(double now, double last) = 0;
    // Sets Value and ValueSquared for the firing being handled.
    virtual void CurrentReward() = 0;
    // Derived classes may call the base body: Value and ValueSquared to 0.0.
    virtual void Reset() = 0;
    // A new array of count workers of the derived class (owned by the caller).
    virtual ImpulseNodeClass** CreateWorkerList(int count) = 0;

    // Name becomes a fresh copy; records the impulse and worker numbers.
    void DefineName(const char* name, int impulse, int worker);
    static double min(double a, double b) { return a < b ? a : b; }
    static double max(double a, double b) { return a > b ? a : b; }

    // Entry d addresses the derived worker's model-pointer field for the
    // impulse's model dependency d; owned by the derived class.
    BaseModelClass*** ModelRefs = nullptr;
    BaseModelClass* Model = nullptr; // the instance of the action's model it watches; not owned
    char* Name = nullptr;            // owned (strdup, released with free)
    int WorkerNumber = -1;           // position among the impulse's workers
    int ImpulseNumber = -1;          // the impulse's position in the node
    int NumModelRefs = 0;            // entries of ModelRefs, set by the derived class
    int PVId = -1;                   // the node's Id
    double Value = 0.0;
    double ValueSquared = 0.0;
    double StartTime = -1.0;
    double StopTime = -1.0;
};
