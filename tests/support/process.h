/// \file
/// \brief What the kernel knows of this process, and programs that stand beside it.
#pragma once

#include <sys/types.h>

#include <cstddef>
#include <filesystem>
#include <string>
#include <vector>

/// Whether a tool is at work under which everything takes many times as long, so that what is repeated
/// had better be repeated less often.
bool is_slowed_down();

/// How many threads this process has.
std::size_t thread_count();

/// How many of them bear this name.
std::size_t threads_named(const std::string& name);

/// How many file descriptors this process has open.
std::size_t descriptor_count();

/// The kernel's id of the calling thread.
pid_t thread_id();

/// How often the thread has gone to sleep.
long sleeps_of(pid_t thread);

/// The files that are mapped into this process.
std::vector<std::string> mapped_files();

/// The folder of the running program.
std::filesystem::path program_folder();

/// Runs the program `name` of the same folder, with its standard output thrown away, to its end.
/// Returns "exit 7", "signal 11", or why it could not be run.
std::string run_program(const std::string& name, const std::vector<std::string>& arguments);
