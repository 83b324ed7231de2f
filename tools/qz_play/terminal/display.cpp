#include "terminal/display.h"

#include "terminal/raw_terminal.h"
#include "terminal/status_line.h"
#include "terminal/text.h"

#include <algorithm>

#include <fcntl.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <unistd.h>

namespace
{

constexpr std::size_t usual_columns = 80;

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
    return known ? window.ws_col : usual_columns;
}

void write_all(int descriptor, const std::string& text)
{
    std::size_t written = 0;
    while (written < text.size()) {
        const ssize_t count = write(descriptor, text.data() + written, text.size() - written);
        if (count <= 0) {
            return;
        }
        written += static_cast<std::size_t>(count);
    }
}

} // namespace

display::display(amount wanted)
    : descriptor_(fcntl(STDERR_FILENO, F_DUPFD_CLOEXEC, 0)), amount_(wanted),
      screen_(wanted == amount::errors ? std::nullopt : find_screen_codes(descriptor_))
{
}

display::~display()
{
    clear_live();
    close(descriptor_);
}

void display::line(const std::string& text)
{
    clear_live();
    const bool for_eyes = isatty(descriptor_) != 0;
    const std::string shown = for_eyes ? text::to_locale(text::from_locale(text)) : text;
    write_all(descriptor_, without_control_characters(shown) + "\n");
}

void display::error(const std::string& sentence)
{
    line("qz_play: " + sentence);
}

void display::event(const std::string& text)
{
    if (amount_ == amount::all || (amount_ == amount::usual && !screen_)) {
        line(text);
    }
}

void display::tell(const snapshot& told)
{
    const auto field = [this](const char* name, const std::wstring& value) {
        if (!value.empty()) {
            line(name + text::to_locale(value));
        }
    };
    field("File:   ", text::from_locale(told.path));
    field("Title:  ", text::from_utf8(told.title));
    field("Artist: ", text::from_utf8(told.artist));
    field("Album:  ", text::from_utf8(told.album));
    field("Length: ", told.length ? clock_text(*told.length) : L"");
    line("Track:  " + std::to_string(told.number + 1) + " of " + std::to_string(told.track_count));
}

/// A line that fills the window to its last column would wrap, and could not be erased then.
void display::live(const snapshot& told)
{
    if (!screen_ || !is_in_foreground(descriptor_)) {
        return;
    }
    const std::wstring wide =
        status_line(told, snapshot::clock::now(), window_columns(descriptor_) - 1);
    const std::string text = painted(text::to_locale(wide), told.state);
    if (text != live_) {
        live_ = text;
        write_all(descriptor_, screen_->erase_line + text);
    }
}

void display::clear_live()
{
    if (!live_.empty()) {
        live_.clear();
        write_all(descriptor_, screen_->erase_line);
    }
}

/// A terminal that takes no more must not hold up the end.
std::function<void()> display::last_erasure() const
{
    return [descriptor = descriptor_, code = screen_ ? screen_->erase_line : ""] {
        pollfd room{descriptor, POLLOUT, 0};
        if (!code.empty() && is_in_foreground(descriptor) && poll(&room, 1, 0) > 0) {
            write_all(descriptor, code);
        }
    };
}

std::string display::painted(const std::string& line, play_state state) const
{
    const std::size_t sign = std::min(line.find(' '), line.size());
    const std::string& colour = state == play_state::playing ? screen_->green : screen_->yellow;
    return colour.empty() ? line
                          : colour + line.substr(0, sign) + screen_->plain + line.substr(sign);
}
