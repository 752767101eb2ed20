#pragma once

#include <optional>
#include <string_view>
#include <vector>

#include <sys/types.h>

namespace Shared::Ipc::Native
{

/// Who may open a pipe: the agent's own user and root in any case, and what its security descriptor grants beyond that.
class PipeAccess
{
public:
    /// Reads the descriptor, SDDL of revision 1; empty grants nothing beyond. An entry that allows both reading and
    /// writing to LS or NS, the reduced accounts of Windows, grants it to the reduced account here, unless another entry
    /// denies it; all other accounts (administrators, users, SIDs) mean nobody, which is stricter than on Windows. Nothing
    /// when the text is no descriptor.
    static std::optional<PipeAccess> FromDescriptor(std::wstring_view descriptor);

    bool Admits(uid_t user) const noexcept;
    /// The users beyond the own one and root.
    const std::vector<uid_t>& GetOthers() const noexcept;

private:
    std::vector<uid_t> m_others;
};

/// What a descriptor says, read without asking the system. A pure function.
struct DescriptorGrants
{
    /// Whether LS or NS may read and write.
    bool toReducedAccount = false;
};

/// Nothing when the text is no descriptor.
std::optional<DescriptorGrants> ReadDescriptor(std::wstring_view descriptor);

/// The user under whom children with reduced rights run when the agent is root: "tarvane-vel" when there is such a user,
/// else "nobody"; nothing when there is neither.
std::optional<uid_t> FindReducedUser();

} // namespace Shared::Ipc::Native
