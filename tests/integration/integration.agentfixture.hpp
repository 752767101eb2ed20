#pragma once

#include "lab.vellab-childprocess.hpp"
#include "lab.vellab-options.hpp"

#include <cstdint>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include <gmock/gmock.h>

namespace Integration
{

/// How a run of the agent ended, and what it left.
struct RunResult
{
    std::int32_t exitCode = -1;
    std::string log;
    std::string output;
    std::string errors;
};

/// Runs the built agent in a folder of its own, with settings and a meeting place of its own, where nobody is signed in to
/// the VPN client. The folder is kept when the test fails.
class AgentTest : public ::testing::Test
{
protected:
    AgentTest();
    ~AgentTest() override;

    /// A program of this build, by its path below the build folder and without ".exe".
    static std::filesystem::path Program(const std::string& path);

    /// Copies the agent into its folder and starts it there. The laboratory's build unless `shipped`.
    std::unique_ptr<Lab::ChildProcess> StartAgent(const std::vector<std::string>& arguments, bool shipped = false);
    /// Waits for its end and gathers what it left. Fails the test when it does not end.
    RunResult AwaitEnd(Lab::ChildProcess& agent);

    std::filesystem::path Folder() const;
    std::filesystem::path AgentFolder() const;
    std::filesystem::path LogFile() const;
    std::string ReadLog() const;
    /// Waits until the agent's log holds `text`; fails the test when it never does.
    void AwaitLog(const std::string& text) const;

private:
    std::filesystem::path m_folder;
};

std::string ReadFile(const std::filesystem::path& file);

} // namespace Integration
