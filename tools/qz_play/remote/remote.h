/// \file
/// \brief The session in the hands of other programs: MPRIS 2, the desktop's media keys and applets.
#pragma once

#include "remote/bulletin.h"
#include "session/events.h"
#include "session/snapshot.h"

#include <future>
#include <memory>

/// Joins the session bus with the first sound, so that no start waits for it, and answers there on a
/// thread of its own, which knows the last snapshot and pushes requests.
///
/// Where there is no bus, and when it goes away, the session plays on without.
class remote
{
public:
    explicit remote(std::shared_ptr<event_queue> requests);

    /// Leaves the bus. One that hangs is left behind, to end with the process.
    ~remote();

    remote(const remote&) = delete;
    remote& operator=(const remote&) = delete;

    /// Tells the other programs. Does not wait.
    void publish(const snapshot& now);

private:
    void start();

    const std::shared_ptr<event_queue> requests_;
    const std::shared_ptr<bulletin> news_;
    std::future<void> left_;
};
