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

    /// Stops the thread and does not wait for it: this may run on that thread.
    ~_qz_thread_service() override;

    boost::shared_ptr<_qz_object> shared_object() override;
    std::string type_tag() override;
    void destroy(std::string file, int line) override;

    task_queue& queue() { return *queue_; }

private:
    std::shared_ptr<task_queue> queue_;
};
