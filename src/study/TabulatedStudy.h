#pragma once
// TabulatedStudy: a study whose global variables take their values from a table,
// one column per variable and one row per experiment. A study written by hand
// names its variables and their columns in its constructor and builds its reward
// model in GetPVModel; setting, printing, finding and overriding the variables
// happen here, with messages that carry the study's own class name.

#include "study/BaseStudyClass.h"

#include <memory>
#include <ostream>
#include <type_traits>
#include <utility>
#include <vector>

class TabulatedStudy : public BaseStudyClass {
public:
    // Deletes the reward model built last, if any.
    ~TabulatedStudy() override;
    TabulatedStudy(const TabulatedStudy&) = delete;
    TabulatedStudy& operator=(const TabulatedStudy&) = delete;
    TabulatedStudy(TabulatedStudy&&) = delete;
    TabulatedStudy& operator=(TabulatedStudy&&) = delete;

    // Assigns row exp of every column to its variable (asserts 0 <= exp < NumExps).
    void SetGVs(int exp) override;
    // Sets row exp, then prints "name<TAB>type<TAB>value" per variable.
    void PrintGlobalValues(int exp) override;
    // The named variable's address; an unknown name is reported on standard error.
    void* GetGVValue(const char* name) override;
    // Stores *value, read as the variable's own type, into the named variable.
    void OverrideGVValue(const char* name, const void* value) override;

protected:
    // className names the study in messages (a literal: not copied); experiments
    // is the number of rows of the table.
    TabulatedStudy(const char* className, int experiments);

    // Declares the model's global variable `global` under `name`, with its value
    // in each experiment (one per row, in experiment order).
    template <class T> void addVariable(const char* name, T& global, std::vector<T> values) {
        const int rows = static_cast<int>(values.size());
        addColumn(name, typeName<T>(), rows,
                  std::make_unique<TypedColumn<T>>(global, std::move(values)));
    }
    // The same with one value in every experiment.
    template <class T> void addVariable(const char* name, T& global, T value) {
        addVariable(name, global, std::vector<T>(NumExps, value));
    }

    // Deletes the reward model built last, so that GetPVModel can build the next
    // one after the old one is gone.
    void releasePVModel();

private:
    // One variable: the model's global it sets and its values by experiment.
    class Column {
    public:
        virtual ~Column() = default;
        virtual void set(int exp) = 0;
        virtual void print(std::ostream& out) const = 0;
        virtual void* address() = 0;
        virtual void store(const void* value) = 0;
    };

    template <class T> class TypedColumn final : public Column {
    public:
        TypedColumn(T& global, std::vector<T> values)
            : global_(global), values_(std::move(values)) {}
        void set(int exp) override { global_ = values_[exp]; }
        void print(std::ostream& out) const override { out << global_; }
        void* address() override { return &global_; }
        void store(const void* value) override { global_ = *static_cast<const T*>(value); }

    private:
        T& global_;             // not owned: a global variable of the model
        std::vector<T> values_; // one per experiment
    };

    // The C type name that overrides and the printed table use for T.
    template <class T> static constexpr const char* typeName() {
        if constexpr (std::is_same_v<T, bool>)
            return "bool";
        else if constexpr (std::is_same_v<T, char>)
            return "char";
        else if constexpr (std::is_same_v<T, short>)
            return "short";
        else if constexpr (std::is_same_v<T, int>)
            return "int";
        else if constexpr (std::is_same_v<T, long>)
            return "long";
        else if constexpr (std::is_same_v<T, float>)
            return "float";
        else {
            static_assert(std::is_same_v<T, double>, "a global variable is of a C scalar type");
            return "double";
        }
    }

    // Appends the variable to the base's name and type tables and to columns_.
    void addColumn(const char* name, const char* type, int rows, std::unique_ptr<Column> column);
    // The named variable's column; null, after a report naming `operation`, when
    // there is none.
    Column* find(const char* name, const char* operation);

    const char* className_;                        // not owned: a literal
    std::vector<std::unique_ptr<Column>> columns_; // owned, in declaration order
};
