/// \file
/// \brief Lets an allocation of the code under test fail, or finds it. Replaces the program's `malloc` and
/// `operator new`.
#pragma once

#include <cstddef>

/// While this lives, the `number`-th allocation from now on, by the thread that made it, that is not a
/// substitute's own fails: `malloc` gives null, `new` throws `std::bad_alloc`. One at a time.
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

/// The same for the allocations of all threads together.
class failing_allocation_anywhere
{
public:
    explicit failing_allocation_anywhere(unsigned number);
    ~failing_allocation_anywhere();
    failing_allocation_anywhere(const failing_allocation_anywhere&) = delete;
    failing_allocation_anywhere& operator=(const failing_allocation_anywhere&) = delete;

    /// False when there have not been so many allocations yet.
    [[nodiscard]] static bool has_failed();
};

/// While this lives, each allocation of `size` bytes, by any thread, that is not a substitute's own fails.
/// One at a time.
class failing_size
{
public:
    explicit failing_size(std::size_t size);
    ~failing_size();
    failing_size(const failing_size&) = delete;
    failing_size& operator=(const failing_size&) = delete;
};

/// Finds the first allocation of `size` bytes from now on that is not a substitute's own: for what the
/// code under test leaves without an owner. One at a time.
class first_allocation
{
public:
    explicit first_allocation(std::size_t size);
    ~first_allocation();
    first_allocation(const first_allocation&) = delete;
    first_allocation& operator=(const first_allocation&) = delete;

    /// Empty as long as there was none.
    [[nodiscard]] static void* address();
};
