#include "terminal/keyboard.h"

#include "environment.h"
#include "terminal/keys.h"

#include <array>
#include <cerrno>
#include <cstddef>
#include <string>
#include <thread>
#include <utility>

#include <poll.h>
#include <unistd.h>

namespace
{

/// Nothing tells that a job has come into the foreground.
constexpr int look_again_ms = 500;

/// How long the rest of a key's sequence may take. What begins like one may be the escape key.
constexpr int sequence_ms = 50;

constexpr int for_ever = -1;

using reader_ptr = std::unique_ptr<TermKey, void (*)(TermKey*)>;

bool readable(int descriptor, int timeout_ms)
{
    pollfd input{descriptor, POLLIN, 0};
    return poll(&input, 1, timeout_ms) > 0;
}

void push_keys(TermKey* reader, int descriptor, event_queue& events)
{
    TermKeyKey key{};
    TermKeyResult result = termkey_getkey(reader, &key);
    while (result == TERMKEY_RES_KEY || result == TERMKEY_RES_AGAIN) {
        if (result == TERMKEY_RES_KEY) {
            if (const auto wanted = request_of(key)) {
                events.push(*wanted);
            }
            result = termkey_getkey(reader, &key);
        } else if (readable(descriptor, sequence_ms)) {
            return;
        } else {
            result = termkey_getkey_force(reader, &key);
        }
    }
}

void wait_for_foreground(int descriptor)
{
    while (!is_in_foreground(descriptor)) {
        poll(nullptr, 0, look_again_ms);
    }
}

/// Returns whether there may be more.
bool take_bytes(TermKey* reader, int descriptor)
{
    std::array<char, 64> bytes{};
    const ssize_t count = read(descriptor, bytes.data(), bytes.size());
    if (count <= 0) {
        return count < 0 && (errno == EINTR || errno == EAGAIN || !is_in_foreground(descriptor));
    }
    termkey_push_bytes(reader, bytes.data(), static_cast<std::size_t>(count));
    return true;
}

/// Without the terminal itself, whose bytes are pushed: libtermkey would change what its keypad sends,
/// and leave it so.
reader_ptr new_reader()
{
    const std::string kind = environment_variable("TERM").value_or("");
    return {termkey_new_abstract(kind.c_str(), 0), termkey_destroy};
}

void read_keys(TermKey* reader, int descriptor, raw_terminal& terminal, event_queue& events)
{
    bool open = reader != nullptr;
    while (open && !terminal.closed()) {
        if (!is_in_foreground(descriptor)) {
            wait_for_foreground(descriptor);
            terminal.enter();
        }
        if (readable(descriptor, for_ever) && is_in_foreground(descriptor) && !terminal.closed()) {
            open = take_bytes(reader, descriptor);
            push_keys(reader, descriptor, events);
        }
    }
}

} // namespace

keyboard::keyboard(int descriptor, std::shared_ptr<event_queue> events)
    : terminal_(std::make_shared<raw_terminal>(descriptor))
{
    terminal_->enter();
    std::thread([reader = new_reader(), descriptor, terminal = terminal_,
                 queue = std::move(events)] {
        read_keys(reader.get(), descriptor, *terminal, *queue);
    }).detach();
}

keyboard::~keyboard()
{
    terminal_->close();
}

void keyboard::release()
{
    terminal_->leave();
}

void keyboard::take()
{
    terminal_->enter();
}
