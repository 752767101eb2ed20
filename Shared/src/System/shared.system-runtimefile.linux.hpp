#pragma once

#include <string>
#include <string_view>

namespace Shared::System
{

/// A file name for something in the runtime directory that is named by free text: letters, digits, "-", "_" and "." stay,
/// every other byte of its UTF-8 form is written as %XX. Different texts give different names. A pure function.
std::string EncodeFileName(std::wstring_view text);

/// While it is there, this thread has a folder for itself against all others, in any process, who take it the same way.
/// Waits for its turn. Ends with the process at the latest.
class FolderLock
{
public:
    /// Throws Win32Exception "Failed to open folder {}".
    explicit FolderLock(const std::string& folder);
    FolderLock(const FolderLock&) = delete;
    FolderLock& operator=(const FolderLock&) = delete;
    ~FolderLock();

    /// The open folder; owned here.
    int GetDescriptor() const noexcept;

private:
    int m_descriptor;
};

} // namespace Shared::System
