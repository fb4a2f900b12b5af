#pragma once
// GEN_ASSERT: a check of a programming error that stays active in every build
// type. On failure it names the source and the failed condition on standard
// error and aborts the process.

namespace gen_detail {
[[noreturn]] void assertionFailed(const char* source, const char* function, const char* condition);
}

#define GEN_ASSERT(condition, source)                                                              \
    do {                                                                                           \
        if (!(condition))                                                                          \
            ::gen_detail::assertionFailed((source), __func__, #condition);                         \
    } while (false)

// An operation that a kind of model must never receive.
#define GEN_UNREACHABLE(source, operation)                                                         \
    ::gen_detail::assertionFailed((source), (operation), "operation not supported")
