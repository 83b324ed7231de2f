/// \file
/// \brief The last snapshot, on its way from the session to a thread that watches a descriptor.
#pragma once

#include "session/snapshot.h"

#include <mutex>

/// The writer never waits for the reader; what was not read in time is replaced.
class bulletin
{
public:
    /// Throws `std::system_error`.
    bulletin();
    ~bulletin();

    bulletin(const bulletin&) = delete;
    bulletin& operator=(const bulletin&) = delete;

    void post(const snapshot& now);

    /// Tells the reader that nothing comes any more.
    void close();

    /// A descriptor that becomes readable with each post, and with the close, until `latest`.
    [[nodiscard]] int descriptor() const { return wake_; }

    [[nodiscard]] snapshot latest();
    [[nodiscard]] bool closed();

private:
    void wake() const;

    const int wake_;
    std::mutex mutex_;
    snapshot latest_;
    bool closed_ = false;
};
