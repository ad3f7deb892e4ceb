#include "support/process.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <system_error>

#include "support/footprint.h"

namespace tests {
namespace {

std::string newFile() {
    static std::atomic<int> number{0};
    const std::string name =
        "tarsin-test-" + std::to_string(::getpid()) + "-" + std::to_string(++number);
    return (std::filesystem::temp_directory_path() / name).string();
}

}  // namespace

Process::Process(const std::vector<std::string>& command, const std::string& outputFile)
    : m_ownsOutput(outputFile.empty()), m_outputFile(m_ownsOutput ? newFile() : outputFile) {
    std::vector<char*> arguments;
    for (const std::string& argument : command) {
        arguments.push_back(const_cast<char*>(argument.c_str()));
    }
    arguments.push_back(nullptr);

    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
    posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, m_outputFile.c_str(),
                                     O_WRONLY | O_CREAT | O_TRUNC, 0600);
    posix_spawn_file_actions_adddup2(&actions, STDOUT_FILENO, STDERR_FILENO);
    const int error =
        posix_spawnp(&m_pid, arguments[0], &actions, nullptr, arguments.data(), environ);
    posix_spawn_file_actions_destroy(&actions);
    if (error != 0) {
        throw std::system_error(error, std::generic_category(), "start " + command[0]);
    }
}

Process::~Process() {
    if (running()) {
        signal(SIGKILL);
        waitFor(kPatience);
    }
    if (m_ownsOutput) {
        std::filesystem::remove(m_outputFile);
    }
}

bool Process::running() {
    return !waitFor(std::chrono::milliseconds(0)).has_value();
}

void Process::signal(int number) const {
    ::kill(m_pid, number);
}

std::optional<int> Process::waitFor(std::chrono::milliseconds limit) {
    const auto ended = [this] {
        int status = 0;
        if (!m_exitCode && ::waitpid(m_pid, &status, WNOHANG) == m_pid) {
            m_exitCode = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
        }
        return m_exitCode.has_value();
    };
    (void)eventually(ended, limit);
    return m_exitCode;
}

std::string Process::output() const {
    std::ostringstream text;
    text << std::ifstream(m_outputFile).rdbuf();
    return text.str();
}

bool Process::says(const std::string& text) const {
    return eventually([&] { return output().find(text) != std::string::npos; });
}

long Process::residentKiB() const {
    return Footprint::of(m_pid).residentKiB;
}

std::string runToEnd(const std::vector<std::string>& command, std::chrono::milliseconds limit) {
    Process process(command);
    const auto code = process.waitFor(limit);
    const std::string output = process.output();
    EXPECT_EQ(code.value_or(-1), 0) << command[0] << ": " << output;
    return output;
}

}  // namespace tests
