#pragma once

#include "shared.concurrency-nativeprocess.hpp"
#include "shared.raii-nativehandle.hpp"
#include "shared.security-identity.linux.hpp"

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

/// The agent's side of the process that keeps its children (shared.concurrency-processkeeper.linux.hpp).
namespace Shared::Concurrency::Native
{

/// A child as the keeper is to start it: everything is settled.
struct KeptProcess
{
    /// Absolute path.
    std::string program;
    std::string workingDirectory;
    std::vector<std::string> arguments;
    std::vector<std::string> environment;
    Security::Identity identity;
    bool hasOwnGroup = false;
    /// Descriptors of this process.
    int input = -1;
    int output = -1;
    int errors = -1;
    std::vector<int> inherited;
    /// -1 for none.
    int ruleset = -1;
    Raii::RawHandle job = nullptr;
};

/// Starts a child by the keeper, which is made when there is none yet. Errors: E2BIG beyond the keeper's limits, EAGAIN
/// when it has too many children, ETIMEDOUT when it does not answer for ten seconds, else what the child met on its
/// way. Any thread.
StartedProcess StartKept(const KeptProcess& process);

/// The child that the handle means; null when none of ours does. Any thread.
std::shared_ptr<ProcessControl> FindProcess(Raii::RawHandle process);

/// Tells the keeper that the child belongs to one more job. True also for a child that has ended. Any thread.
bool AddToJob(const ProcessControl& control, Raii::RawHandle job);

} // namespace Shared::Concurrency::Native
