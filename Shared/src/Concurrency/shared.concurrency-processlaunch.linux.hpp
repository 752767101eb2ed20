#pragma once

#include "shared.concurrency-processpackets.linux.hpp"

#include <array>

#include <sys/types.h>

/// How a keeper starts a program: in a new process, which has the keeper's memory until then. So nothing here asks for
/// memory or takes a lock.
namespace Shared::Concurrency::Native::Keeper
{

/// What a new process needs to become its program.
struct Launch
{
    const StartRequest* request = nullptr;
    const char* program = nullptr;
    const char* folder = nullptr;
    char** arguments = nullptr;
    char** environment = nullptr;
    int input = -1;
    int output = -1;
    int errors = -1;
    int ruleset = -1;
    std::array<int, MostInherited> inherited{};
    int failurePipe = -1;
    /// Set by the new process, before anything else, in the memory that it shares with the keeper.
    volatile bool* hasBegun = nullptr;
    pid_t keeper = 0;
};

struct Failure
{
    StartStep step = StartStep::Request;
    int error = 0;
};

/// A process that has its program, or why there is none.
struct Launched
{
    pid_t process = 0;
    Failure failure;
};

/// Returns once the new process has its program or has ended. @param descriptors those that it has lent are closed.
Launched LaunchProgram(Launch& launch, Descriptors& descriptors) noexcept;

} // namespace Shared::Concurrency::Native::Keeper
