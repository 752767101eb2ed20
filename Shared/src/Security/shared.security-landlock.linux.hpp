#pragma once

#include <string>

namespace Shared::Security
{

/// Version of Landlock that the kernel has; 0 for none, or when it was switched off at boot. Never throws.
int GetLandlockVersion() noexcept;

/// The counterpart of a low integrity label, as the descriptor of a Landlock ruleset, which is this process's for its
/// life:
///  - programs and files of the system (/usr and what belongs to it, /etc) and of the folder `bin` beside the
///    executable can be read, and programs be run from them but not from /etc; /proc, /sys and the resolver's files can
///    be read;
///  - nothing can be written, made, renamed or removed anywhere, but what is written to /dev/null, /dev/zero and
///    /dev/full;
///  - from kernel 6.12 on, no signal and no connection to an abstract socket reaches a process that is not so
///    restricted.
/// The network and what is inherited stay as they are. Folders that are not there are left out. -1 where the kernel has
/// no Landlock, which is said once in the log, at level warning. Any thread.
int GetLowIntegrityRuleset();

/// A new ruleset, with `binFolder` as that folder. The caller owns the descriptor. -1 on failure, with the code in
/// LastError().
int MakeLowIntegrityRuleset(const std::string& binFolder);

} // namespace Shared::Security
