/// \file
/// \brief Lets an allocation of the code under test fail. Replaces the program's `operator new`.
#pragma once

/// While this lives, the `number`-th allocation from now on that is not a substitute's own throws
/// `std::bad_alloc`. One at a time.
class failing_allocation
{
public:
    explicit failing_allocation(unsigned number);
    ~failing_allocation();
    failing_allocation(const failing_allocation&) = delete;
    failing_allocation& operator=(const failing_allocation&) = delete;

    /// False when there were not so many allocations.
    [[nodiscard]] static bool has_failed();
};
