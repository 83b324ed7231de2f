/// \file
/// \brief The platform object that hands tasks and intervals to a thread of its own.
#pragma once

#include "system/qz_system.h"
#include "system/task_queue.h"

#include <memory>
#include <string>

class _qz_thread_service : public _qz_object
{
public:
    /// Starts the thread. Throws `std::system_error` when it cannot be started.
    explicit _qz_thread_service(const std::string& name);

    /// Lets the thread end by itself: it may be the very thread that this runs on.
    ~_qz_thread_service() override;

    boost::shared_ptr<_qz_object> shared_object() override;
    std::string type_tag() override;
    void destroy(std::string file, int line) override;

    task_queue& queue() { return *queue_; }

private:
    std::shared_ptr<task_queue> queue_;
};
