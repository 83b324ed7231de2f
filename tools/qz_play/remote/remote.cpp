#include "remote/remote.h"

#include "remote/load_session_bus.h"

#include <chrono>
#include <cstdlib>
#include <system_error>
#include <thread>
#include <utility>

#include <unistd.h>

namespace
{

using namespace std::chrono_literals;

constexpr auto patience_with_bus = 1s;

} // namespace

remote::remote(std::shared_ptr<event_queue> requests)
    : requests_(std::move(requests)), news_(std::make_shared<bulletin>())
{
}

remote::~remote()
{
    news_->close();
    if (left_.valid() && left_.wait_for(patience_with_bus) != std::future_status::ready) {
        // The thread that is left behind uses what an exit destroys.
        on_exit([](int status, void*) { _exit(status); }, nullptr);
    }
}

void remote::publish(const snapshot& now)
{
    news_->post(now);
    if (now.state == play_state::playing && !left_.valid()) {
        start();
    }
}

/// An error stays in the future, unasked for: where there is no bus, there is nobody to tell.
void remote::start()
{
    std::packaged_task<void()> serve(
        [requests = requests_, news = news_] { load_session_bus()(requests, *news); });
    left_ = serve.get_future();
    try {
        std::thread(std::move(serve)).detach();
    } catch (const std::system_error&) {
        // Playing does not need this thread.
    }
}
