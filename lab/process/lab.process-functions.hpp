#pragma once

#include <cstdint>
#include <filesystem>
#include <vector>

namespace Lab::Process
{

std::uint32_t OwnId() noexcept;

/// A process as the system lists it.
struct Entry
{
    std::uint32_t id = 0;
    std::uint32_t parentId = 0;
    /// Its executable's file; empty when this user may not know it. On Windows the name alone.
    std::filesystem::path program;
};

/// All processes that run now. Empty when the system tells nothing.
std::vector<Entry> List();

/// Those of `all` that `ancestor` has started, directly or through others that still run; it is not one of them itself. A
/// pure function.
std::vector<Entry> DescendantsOf(std::uint32_t ancestor, const std::vector<Entry>& all);

/// Whether the program's file has this name, without regard to case.
bool HasName(const Entry& entry, const std::string& fileName);

/// Ends a process at once, unless another one has its id by now. False when it could not be ended or was gone.
bool Kill(const Entry& entry) noexcept;

/// Lets processes whose parent has ended become children of this one, so that none escapes its eyes. Windows: nothing, as
/// there the job of the agent holds all of them.
void AdoptOrphans() noexcept;

/// Takes notice of adopted processes that have ended. Does nothing to children of this process's own that somebody else
/// waits for.
void ReleaseEnded(const std::vector<Entry>& entries) noexcept;

} // namespace Lab::Process
