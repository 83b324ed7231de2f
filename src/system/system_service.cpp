#include "system/system_service.h"

#include "system/qz_system.h"
#include "system/thread.h"

#include <cstddef>
#include <memory>
#include <utility>

namespace
{

using shared_queue = std::shared_ptr<task_queue>;

// As much as a main thread usually has: every callback of the application runs here.
constexpr std::size_t stack_size = std::size_t{8} << 20U;

std::unique_ptr<shared_queue> start_system_service()
{
    auto queue = std::make_unique<shared_queue>(std::make_shared<task_queue>());
    start_thread("system", stack_size, [shared = *queue] { shared->work(); });
    return queue;
}

} // namespace

task_queue& system_service()
{
    // Never destroyed: threads may still post to it while the process ends.
    static shared_queue& queue = *start_system_service().release();
    return *queue;
}

void qz_system_service_exec(std::function<void()> task, std::string, int)
{
    system_service().post(std::move(task));
}
