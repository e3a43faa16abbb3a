#pragma once

#include <gtest/gtest.h>

#include <string>

/// Expects that `statement` throws `text` with the static type `char*`.
#define EXPECT_FAILURE(statement, text)                                       \
    do {                                                                      \
        try {                                                                 \
            statement;                                                        \
            ADD_FAILURE() << #statement " threw nothing";                     \
        } catch (char* thrown) {                                              \
            EXPECT_EQ(std::string(thrown), std::string(text));                \
        } catch (...) {                                                       \
            ADD_FAILURE() << #statement " threw something else than a char*"; \
        }                                                                     \
    } while (false)

/// Expects that `statement` throws a trace text that ends in `tail` (all that follows the time) with the static type
/// `const char*`.
#define EXPECT_TRACED_FAILURE(statement, tail)                                      \
    do {                                                                            \
        try {                                                                       \
            statement;                                                              \
            ADD_FAILURE() << #statement " threw nothing";                           \
        } catch (char*) {                                                           \
            ADD_FAILURE() << #statement " threw a char*, not a const char*";        \
        } catch (const char* thrown) {                                              \
            const std::string whole = thrown, end = tail;                           \
            ASSERT_GE(whole.size(), end.size());                                    \
            EXPECT_EQ(whole.substr(whole.size() - end.size()), end);                \
        } catch (...) {                                                             \
            ADD_FAILURE() << #statement " threw something else than a const char*"; \
        }                                                                           \
    } while (false)
