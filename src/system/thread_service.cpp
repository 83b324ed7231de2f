#include "system/thread_service.h"

#include "system/system_service.h"
#include "system/thread.h"

#include <boost/smart_ptr/make_shared.hpp>

#include <csignal>
#include <cstddef>
#include <sys/prctl.h>
#include <utility>

namespace
{

// The sound drivers run on these threads. PulseAudio uses 32 KiB; other drivers and instrumented builds use
// more.
constexpr std::size_t stack_size = std::size_t{1} << 20U;

/// A sound driver that writes to a pipe or a socket without a reader gets an error, and not a signal that
/// ends the process.
void block_broken_pipe_signal()
{
    sigset_t broken_pipe{};
    sigemptyset(&broken_pipe);
    sigaddset(&broken_pipe, SIGPIPE);
    pthread_sigmask(SIG_BLOCK, &broken_pipe, nullptr);
}

/// Timed waits of the calling thread end on time. By default the kernel may end them 50 µs late.
void minimize_timer_slack()
{
    constexpr unsigned long nanoseconds = 1;
    prctl(PR_SET_TIMERSLACK, nanoseconds);
}

} // namespace

_qz_thread_service::_qz_thread_service(const std::string& name)
    : queue_(std::make_shared<task_queue>())
{
    start_thread(name, stack_size, [queue = queue_] {
        block_broken_pipe_signal();
        minimize_timer_slack();
        queue->work();
    });
}

_qz_thread_service::~_qz_thread_service()
{
    queue_->stop();
}

boost::shared_ptr<_qz_object> _qz_thread_service::shared_object()
{
    return boost::static_pointer_cast<_qz_object>(shared_from_this());
}

std::string _qz_thread_service::type_tag()
{
    return "[qz_thread_service]";
}

void _qz_thread_service::destroy(std::string, int)
{
    queue_->stop();
    qz_object_unref_real(shared_object());
}

boost::shared_ptr<_qz_thread_service> qz_thread_service_new(std::string name)
{
    system_service(); // started here, so that no later post has to start it
    auto service = boost::make_shared<_qz_thread_service>(name);
    qz_object_ref(service);
    return service;
}

boost::shared_ptr<_qz_object>
qz_thread_service_to_object(boost::shared_ptr<_qz_thread_service> service)
{
    return service;
}

void qz_thread_service_exec(boost::shared_ptr<_qz_thread_service> service,
                            std::function<void()> task, std::string, int)
{
    service->queue().post(std::move(task));
}

unsigned long qz_thread_service_set_interval(boost::shared_ptr<_qz_thread_service> service,
                                             std::function<bool()> tick, unsigned long period,
                                             std::string, int)
{
    return service->queue().start_interval(std::move(tick), period);
}

void qz_thread_service_clear_interval(boost::shared_ptr<_qz_thread_service> service,
                                      unsigned long id)
{
    service->queue().end_interval(id);
}

int qz_thread_service_run_one_only(boost::shared_ptr<_qz_thread_service> service)
{
    return service->queue().run_one() ? 1 : 0;
}

void qz_thread_service_stop(boost::shared_ptr<_qz_thread_service> service,
                            std::function<void(boost::shared_ptr<_qz_thread_service>)> completion)
{
    if (!completion) {
        service->queue().stop();
        return;
    }
    std::function<void()> report = [service, completion = std::move(completion)] {
        completion(service);
    };
    if (!service->queue().stop(report)) {
        system_service().post(std::move(report));
    }
}
