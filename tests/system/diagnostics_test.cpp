#include "captured_output.h"
#include "on_threads.h"
#include "service_test.h"

#include <cstdio>
#include <functional>
#include <ios>
#include <map>
#include <sstream>
#include <stdexcept>
#include <string>
#include <unistd.h>

namespace
{

const std::string error_banner = "\x1b[1;31mQZ-SYSTEM**ERROR**\x1b[0;0m: ";

class DiagnosticsTest : public ServiceTest
{
protected:
    /// Lets `thrower` throw in a task, and returns the line that reports it.
    std::string line_for(const std::function<void()>& thrower)
    {
        captured_output output;
        post(service, thrower);
        EXPECT_TRUE(output.wait_for_lines(1));
        run(service);
        return output.steps().front();
    }
};

} // namespace

TEST_F(DiagnosticsTest, EachLineIsOneInsertionAndThenAFlush)
{
    captured_output output;
    qz_assertion_faild(false, "a == b", "first", "file.cpp", 1);
    qz_thread_service_to_object(service)->describe();
    EXPECT_THAT(output.steps(),
                ElementsAre(testing::EndsWith("\n"), "flush", testing::EndsWith("\n"), "flush"));
}

TEST_F(DiagnosticsTest, FailedAssertionTellsExpressionMessageFileAndLine)
{
    captured_output output;
    qz_assertion_faild(false, "adata->mh == nullptr", "adata->mh must be nulll", "src/file.cpp",
                       42);
    EXPECT_THAT(output.steps(),
                ElementsAre(error_banner +
                                "assertion failed: adata->mh == nullptr - adata->mh must be "
                                "nulll (src/file.cpp:42)\n",
                            "flush"));
}

TEST_F(DiagnosticsTest, AssertionThatHoldsWritesNothing)
{
    captured_output output;
    qz_assertion_faild(true, "a == b", "message", "file.cpp", 1);
    EXPECT_THAT(output.steps(), testing::IsEmpty());
}

TEST_F(DiagnosticsTest, ExceptionOfATaskIsReportedByItsText)
{
    EXPECT_EQ(line_for([] { throw std::runtime_error("the disk is full"); }),
              error_banner + "the disk is full\n");
    EXPECT_EQ(line_for([] { throw std::bad_alloc(); }), error_banner + "std::bad_alloc\n");
}

TEST_F(DiagnosticsTest, WhatIsNoExceptionIsUnknown)
{
    EXPECT_EQ(line_for([] { throw 7; }), error_banner + "unknown exception\n");
    EXPECT_EQ(line_for([] { throw std::string("text"); }), error_banner + "unknown exception\n");
}

TEST_F(DiagnosticsTest, EmptyTaskIsReportedToo)
{
    EXPECT_EQ(line_for(nullptr), error_banner + "bad_function_call\n");
}

TEST_F(DiagnosticsTest, ExceptionOfANestedTaskStaysInside)
{
    captured_output output;
    event went_on;
    run(service, [&] {
        post(service, [] { throw std::runtime_error("inner task failed"); });
        EXPECT_EQ(qz_thread_service_run_one_only(service), 1);
        went_on.set();
    });
    EXPECT_TRUE(went_on.is_set());
    EXPECT_THAT(output.steps(), ElementsAre(error_banner + "inner task failed\n", "flush"));
}

TEST_F(DiagnosticsTest, ExceptionOfATickIsReported)
{
    captured_output output;
    set_interval(
        service, []() -> bool { throw std::runtime_error("tick failed"); }, 1);
    ASSERT_TRUE(output.wait_for_lines(1));
    run(service);
    EXPECT_THAT(output.steps(), ElementsAre(error_banner + "tick failed\n", "flush"));
}

TEST_F(DiagnosticsTest, ExceptionOfATickOfUnknownTypeIsReported)
{
    captured_output output;
    set_interval(
        service, []() -> bool { throw 7; }, 1);
    ASSERT_TRUE(output.wait_for_lines(1));
    run(service);
    EXPECT_THAT(output.steps(), ElementsAre(error_banner + "unknown exception\n", "flush"));
}

TEST_F(DiagnosticsTest, ExceptionOnTheSystemServiceIsReportedAndTheThreadGoesOn)
{
    captured_output output;
    post_to_system([] { throw std::runtime_error("callback failed"); });
    post_to_system([] { throw 7; });
    run_on_system();
    EXPECT_THAT(output.steps(), ElementsAre(error_banner + "callback failed\n", "flush",
                                            error_banner + "unknown exception\n", "flush"));
}

TEST_F(DiagnosticsTest, OutputThatFailsHurtsNobody)
{
    class failing_buffer : public std::streambuf
    {
        std::streamsize xsputn(const char*, std::streamsize) override
        {
            throw std::runtime_error("no output");
        }
    };
    failing_buffer failing;
    std::streambuf* const before = std::cout.rdbuf(&failing);
    std::cout.exceptions(std::ios::badbit);
    EXPECT_NO_THROW(qz_assertion_faild(false, "a == b", "message", "file.cpp", 1));
    EXPECT_NO_THROW(qz_thread_service_to_object(service)->describe());
    run(service, [] { throw std::runtime_error("task failed"); });
    run(service);
    std::cout.exceptions(std::ios::goodbit);
    std::cout.rdbuf(before);
    std::cout.clear();
}

namespace
{

/// What reaches the file descriptor of standard output while `write` runs.
std::string written_by(const std::function<void()>& write)
{
    std::FILE* const file = std::tmpfile();
    std::cout.flush();
    const int before = dup(STDOUT_FILENO);
    dup2(fileno(file), STDOUT_FILENO);
    write();
    dup2(before, STDOUT_FILENO);
    close(before);

    std::string text(static_cast<std::size_t>(std::ftell(file)), '\0');
    std::rewind(file);
    EXPECT_EQ(std::fread(text.data(), 1, text.size(), file), text.size());
    std::fclose(file);
    return text;
}

} // namespace

TEST_F(DiagnosticsTest, LinesOfEightThreadsNeverMix)
{
    constexpr unsigned writers = 8;
    constexpr int lines_each = 200;
    const std::string long_text(3000, 'x');
    const std::string text = written_by([&] {
        on_threads(writers, [&](unsigned writer) {
            for (int number = 0; number < lines_each; ++number) {
                qz_assertion_faild(false, long_text, "message", "file.cpp",
                                   static_cast<int>(writer));
            }
        });
    });

    const std::string start =
        error_banner + "assertion failed: " + long_text + " - message (file.cpp:";
    std::map<std::string, int> counts; // by the writer's number and what follows it
    std::istringstream lines(text);
    for (std::string line; std::getline(lines, line);) {
        ASSERT_EQ(line.substr(0, start.size()), start);
        ++counts[line.substr(start.size())];
    }
    ASSERT_EQ(counts.size(), writers);
    for (unsigned writer = 0; writer < writers; ++writer) {
        EXPECT_EQ(counts[std::to_string(writer) + ")"], lines_each);
    }
}
