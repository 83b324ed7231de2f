#include "display.h"

#include "status_line.h"
#include "terminal.h"
#include "text.h"

#include <algorithm>
#include <chrono>
#include <climits>
#include <cstdlib>
#include <cstring>

#include <fcntl.h>
#include <poll.h>
#include <sys/epoll.h>
#include <sys/ioctl.h>
#include <unistd.h>

using namespace std::chrono_literals;

namespace
{

constexpr std::size_t default_columns = 80;
constexpr std::size_t max_pending = 65536;
constexpr auto notice_duration = 2s;
constexpr auto final_write_timeout = 1s;

// All current terminals support these ECMA-48 codes.
constexpr auto erase_line = "\r\x1b[K";
constexpr auto green = "\x1b[32m";
constexpr auto yellow = "\x1b[33m";
constexpr auto plain = "\x1b[m";

std::string environment_variable(const char* name)
{
    const char* value = std::getenv(name); // NOLINT(concurrency-mt-unsafe)
    return value != nullptr ? value : "";
}

bool has_cursor_control(int descriptor)
{
    const std::string terminal_type = environment_variable("TERM");
    return isatty(descriptor) != 0 && !terminal_type.empty() && terminal_type != "dumb";
}

std::string without_control_characters(std::string text)
{
    const auto is_control = [](unsigned char byte) { return byte < ' ' || byte == 0x7f; };
    std::replace_if(text.begin(), text.end(), is_control, '?');
    return text;
}

std::size_t window_columns(int descriptor)
{
    winsize window{};
    const bool known = ioctl(descriptor, TIOCGWINSZ, &window) == 0 && window.ws_col > 0;
    return known ? window.ws_col : default_columns;
}

bool is_writable(int descriptor, std::chrono::milliseconds timeout)
{
    pollfd output{descriptor, POLLOUT, 0};
    return poll(&output, 1, static_cast<int>(timeout.count())) > 0;
}

} // namespace

display::display(event_loop& loop, verbosity level)
    : descriptor_(reopen_terminal(STDERR_FILENO, O_WRONLY)), verbosity_(level),
      has_status_line_(level != verbosity::quiet && has_cursor_control(descriptor_)),
      has_colours_(environment_variable("NO_COLOR").empty()),
      writable_watch_(loop, descriptor_, EPOLLOUT, [this] { write_pending(); }),
      notice_timeout_(loop, [this] { show_notice(""); })
{
    writable_watch_.enable(false);
}

display::~display()
{
    clear_status_line();
    const auto deadline = event_loop::clock::now() + final_write_timeout;
    const auto time_left = [&] {
        return std::chrono::ceil<std::chrono::milliseconds>(
            std::max(deadline - event_loop::clock::now(), event_loop::clock::duration::zero()));
    };
    while (refill_pending() && is_writable(descriptor_, time_left()) && write_chunk()) {
    }
    close(descriptor_);
}

void display::print_line(const std::string& text)
{
    if (pending_.size() < max_pending) {
        const bool on_terminal = isatty(descriptor_) != 0;
        const std::string shown = on_terminal ? text::to_locale(text::from_locale(text)) : text;
        pending_ += drawn_line_.empty() ? "" : erase_line;
        pending_ += without_control_characters(shown) + "\n";
        drawn_line_.clear();
    }
    clear_status_line();
}

void display::print_error(const std::string& message)
{
    print_line("qz_play: " + message);
}

void display::print_event(const std::string& text)
{
    if (verbosity_ == verbosity::verbose ||
        (verbosity_ == verbosity::normal && !has_status_line_)) {
        print_line(text);
    }
}

void display::show_status(const snapshot& shown)
{
    status_ = shown;
    draw();
}

void display::show_notice(const std::string& text)
{
    if (!has_status_line_) {
        print_event(text);
        return;
    }
    notice_ = text;
    const auto deadline = event_loop::clock::now() + notice_duration;
    notice_timeout_.set(text.empty() ? event_loop::clock::time_point::max() : deadline);
    draw();
}

void display::clear_status_line()
{
    status_.reset();
    wanted_line_.clear();
    write_pending();
}

void display::try_erase_status_line() const
{
    if (has_status_line_ && is_in_foreground(descriptor_) && is_writable(descriptor_, 0ms)) {
        static_cast<void>(write(descriptor_, erase_line, std::strlen(erase_line)));
    }
}

/// Leaves the last column free: a full line would wrap and could not be erased.
std::string display::status_text() const
{
    const std::size_t columns = window_columns(descriptor_) - 1;
    if (!notice_.empty()) {
        return text::to_locale(text::truncate(text::from_locale(notice_), columns));
    }
    return status_
               ? coloured(text::to_locale(status_line(*status_, snapshot::clock::now(), columns)))
               : "";
}

/// Colours the symbol of the state, which comes first.
std::string display::coloured(const std::string& line) const
{
    const std::size_t sign = std::min(line.find(' '), line.size());
    const char* colour = status_->state == play_state::playing ? green : yellow;
    return has_colours_ ? colour + line.substr(0, sign) + plain + line.substr(sign) : line;
}

void display::draw()
{
    if (has_status_line_ && is_in_foreground(descriptor_)) {
        wanted_line_ = status_text();
        write_pending();
    }
}

/// A terminal that is writable may still refuse the end of a line. Then the next call tries again: a watch would call
/// back immediately and keep the loop busy.
void display::write_pending()
{
    bool writable = true;
    bool accepted = true;
    while (accepted && refill_pending() && (writable = is_writable(descriptor_, 0ms))) {
        accepted = write_chunk();
    }
    writable_watch_.enable(!writable);
}

/// If all lines are written, appends the latest status line, if it has changed. Returns whether anything is pending.
bool display::refill_pending()
{
    if (pending_.empty() && wanted_line_ != drawn_line_) {
        pending_ = erase_line + wanted_line_;
        drawn_line_ = wanted_line_;
    }
    return !pending_.empty();
}

/// Returns whether anything was accepted. A writable pipe has room for PIPE_BUF bytes.
bool display::write_chunk()
{
    const std::size_t size = std::min<std::size_t>(pending_.size(), PIPE_BUF);
    const ssize_t count = write(descriptor_, pending_.data(), size);
    pending_.erase(0, static_cast<std::size_t>(std::max<ssize_t>(count, 0)));
    return count > 0;
}
