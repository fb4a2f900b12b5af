#pragma once
// The markings that a generated activity's firing may change, as its code sees
// them. A marking is a short: arithmetic on it is done in int, and a result that
// a short cannot hold would be stored wrapped around (32767 + 1 becoming
// -32768), a different state the model never reaches, with every value computed
// from it wrong. These views store only what fits and otherwise end the run with
// one line naming the activity, the place and the value (status 1).

#include <climits>
#include <cmath>
#include <type_traits>

namespace gen_marking {

// Ends the run: activity's firing would set place (element index, or -1 for a
// place that is not an array element) to value.
[[noreturn]] void outOfRange(const char* activity, const char* place, int index, double value);

// Shared by the views below: the cell, its names, and the checked store.
class MarkingCell {
public:
    MarkingCell(short* cell, const char* activity, const char* place, int index)
        : cell_(cell), activity_(activity), place_(place), index_(index) {}

protected:
    short get() const { return *cell_; }
    // Stores value as an assignment to a short converts it (a floating value
    // truncated towards zero), when the result is the value so converted.
    template <class T> short set(const T& value) const {
        if constexpr (std::is_floating_point_v<T>) {
            const double whole = std::trunc(static_cast<double>(value));
            if (!(whole >= SHRT_MIN && whole <= SHRT_MAX))
                outOfRange(activity_, place_, index_, static_cast<double>(value));
            *cell_ = static_cast<short>(whole);
        } else if constexpr (std::is_same_v<T, bool>) {
            *cell_ = value ? 1 : 0;
        } else if constexpr (std::is_integral_v<T> && std::is_unsigned_v<T>) {
            const unsigned long long whole = value;
            if (whole > static_cast<unsigned long long>(SHRT_MAX))
                outOfRange(activity_, place_, index_, static_cast<double>(whole));
            *cell_ = static_cast<short>(whole);
        } else if constexpr (std::is_integral_v<T>) {
            const long long whole = value;
            if (whole < SHRT_MIN || whole > SHRT_MAX)
                outOfRange(activity_, place_, index_, static_cast<double>(whole));
            *cell_ = static_cast<short>(whole);
        } else {
            return set(static_cast<double>(value)); // a class that converts to a number
        }
        return *cell_;
    }
    short* cell_;
    const char* activity_;
    const char* place_;
    int index_;
};

// A place of the firing activity, named by a local: reads and writes go to the
// marking, each operator computing as it would on a short (p op= v is
// p = p op v, converted). A copy (`auto before = place;`) holds the value at the
// time of the copy, as a copy of a short did, and writes to it stay in it.
class Marking : public MarkingCell {
public:
    Marking(short* cell, const char* activity, const char* place)
        : MarkingCell(cell, activity, place, -1) {}
    Marking(const Marking& other)
        : MarkingCell(&own_, other.activity_, other.place_, other.index_), own_(other.get()) {}

    operator short() const { return get(); }
    Marking& operator=(const Marking& other) {
        set(other.get());
        return *this;
    }
    template <class T> Marking& operator=(const T& value) {
        set(value);
        return *this;
    }
    Marking& operator++() { return *this = get() + 1; }
    Marking& operator--() { return *this = get() - 1; }
    short operator++(int) {
        const short before = get();
        set(before + 1);
        return before;
    }
    short operator--(int) {
        const short before = get();
        set(before - 1);
        return before;
    }
    template <class T> Marking& operator+=(const T& v) { return *this = get() + v; }
    template <class T> Marking& operator-=(const T& v) { return *this = get() - v; }
    template <class T> Marking& operator*=(const T& v) { return *this = get() * v; }
    template <class T> Marking& operator/=(const T& v) { return *this = get() / v; }
    template <class T> Marking& operator%=(const T& v) { return *this = get() % v; }
    template <class T> Marking& operator&=(const T& v) { return *this = get() & v; }
    template <class T> Marking& operator|=(const T& v) { return *this = get() | v; }
    template <class T> Marking& operator^=(const T& v) { return *this = get() ^ v; }
    template <class T> Marking& operator<<=(const T& v) { return *this = get() << v; }
    template <class T> Marking& operator>>=(const T& v) { return *this = get() >> v; }

private:
    short own_ = 0;
};

// An element of an array of places, as a[k] gives it: an assignment or an
// increment writes the marking, computing as on a short. The view is read as
// the value it had when a[k] was evaluated, so that `auto before = a[k];`
// keeps that value as a short did; such a named copy cannot be written
// (`before = 3` does not compile), and nor can a reference to the marking be
// taken.
class ElementMarking : public MarkingCell {
public:
    ElementMarking(short* cell, const char* activity, const char* place, int index)
        : MarkingCell(cell, activity, place, index), value_(*cell) {}
    ElementMarking(const ElementMarking&) = delete;

    operator short() const { return value_; }
    short operator=(const ElementMarking& other) && { return set(other.value_); }
    template <class T> short operator=(const T& value) && { return set(value); }
    short operator++() && { return set(get() + 1); }
    short operator--() && { return set(get() - 1); }
    short operator++(int) && {
        const short before = get();
        set(before + 1);
        return before;
    }
    short operator--(int) && {
        const short before = get();
        set(before - 1);
        return before;
    }
    template <class T> short operator+=(const T& v) && { return set(get() + v); }
    template <class T> short operator-=(const T& v) && { return set(get() - v); }
    template <class T> short operator*=(const T& v) && { return set(get() * v); }
    template <class T> short operator/=(const T& v) && { return set(get() / v); }
    template <class T> short operator%=(const T& v) && { return set(get() % v); }
    template <class T> short operator&=(const T& v) && { return set(get() & v); }
    template <class T> short operator|=(const T& v) && { return set(get() | v); }
    template <class T> short operator^=(const T& v) && { return set(get() ^ v); }
    template <class T> short operator<<=(const T& v) && { return set(get() << v); }
    template <class T> short operator>>=(const T& v) && { return set(get() >> v); }

private:
    short value_;
};

// An array of places, element k (from 0) through a[k].
class WritableCells {
public:
    WritableCells(short* const* cells, int count, const char* activity, const char* place)
        : cells_(cells), count_(count), activity_(activity), place_(place) {}
    ElementMarking operator[](int k) const { return {cells_[k], activity_, place_, k}; }
    int size() const { return count_; }

private:
    short* const* cells_;
    int count_;
    const char* activity_;
    const char* place_;
};

// The one element of an array that a family member uses, at its own index.
class WritableElement {
public:
    WritableElement(short* cell, int index, const char* activity, const char* place)
        : cell_(cell), index_(index), activity_(activity), place_(place) {}
    ElementMarking operator[](int) const { return {cell_, activity_, place_, index_}; }

private:
    short* cell_;
    int index_;
    const char* activity_;
    const char* place_;
};

// The initial marking of place from the model's value (converted as a cast to
// short converts it), ending the run where a short cannot hold it.
short initialMarking(const char* place, double value);

} // namespace gen_marking
