#pragma once

#include <vector>

#include "kestrova/export.h"

/// Turns the work of nested long operations into one number for the host, and lets the host cancel. Levels nest by
/// `start` and `end`; each takes up a share (its weight) of its parent's range. One object serves one thread.
///
/// The host's callback gets 0..1000, thousandths of the whole, and answers false to cancel; long operations then stop
/// and return false. A callback with a null user pointer is never called: this rule is intentional. Operations
/// report from the thread that called them. Vectors that get no memory throw `std::bad_alloc`; the levels are then as
/// they were. Where a level is missing, as after an `end` without `start`, `std::out_of_range` is thrown, with "invalid
/// vector<T> subscript".
class KESTROVA_EXPORT TProgress {
public:
    /// One level of 100 steps, none done. `func` is the host's callback, `user` what it gets as its second argument.
    TProgress(bool (*func)(int, void*) = nullptr, void* user = nullptr);

    /// Opens a sub-task that takes up `weight` (0..1) of the level above: 100 steps, none done.
    void start(float weight);

    /// One step of the innermost level is done; returns the host's answer, true without a callback.
    bool prog();

    /// `value` of `total` steps of the innermost level are done. A value beyond the total makes the total grow to
    /// trunc(1.2 (value + 1)). Returns the host's answer, true without a callback.
    bool prog(int value, int total);

    /// Closes the innermost level: its parent advances by weight x (parent's total) steps. Returns the host's answer.
    /// Without a level opened by `start` this is misuse.
    bool end();

    /// Drops all levels and reports 1000; the answer is not looked at.
    void done();

    /// Drops all levels: one level of 100 steps, none done. Reports nothing.
    void reset();

protected:
    /// Reports the whole to the host; its answer, true without a callback.
    bool progress();

public:
    bool (*m_func_p)(int progress, void* user);  ///< the host's callback
    void* m_user_p;                              ///< its second argument
    std::vector<float> m_weights;                ///< the share of each level in the one above, outermost first
    std::vector<int> m_totals;                   ///< steps of each level
    std::vector<int> m_values;                   ///< steps done of each level
};
