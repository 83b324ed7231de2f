#include "remote/bulletin.h"

#include <cerrno>
#include <system_error>

#include <sys/eventfd.h>
#include <unistd.h>

bulletin::bulletin() : wake_(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK))
{
    if (wake_ < 0) {
        throw std::system_error(errno, std::generic_category());
    }
}

bulletin::~bulletin()
{
    ::close(wake_);
}

void bulletin::post(const snapshot& now)
{
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        latest_ = now;
    }
    wake();
}

void bulletin::close()
{
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        closed_ = true;
    }
    wake();
}

snapshot bulletin::latest()
{
    eventfd_t ignored = 0;
    eventfd_read(wake_, &ignored);
    const std::lock_guard<std::mutex> lock(mutex_);
    return latest_;
}

bool bulletin::closed()
{
    const std::lock_guard<std::mutex> lock(mutex_);
    return closed_;
}

void bulletin::wake() const
{
    eventfd_write(wake_, 1);
}
