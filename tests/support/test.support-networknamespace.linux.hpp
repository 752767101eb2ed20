#pragma once

#include <functional>
#include <string>
#include <vector>

namespace TestSupport
{

/// Leaves the machine's network for a new one without anything in it but loopback, runs `commands` there by the shell, and
/// then `inside`, all in a thread of its own, with whose end the new network and everything that was mounted go. What
/// `inside` throws is a failure of the test. Gives why nothing was run, for a test to skip: the kernel or the user's rights
/// do not allow it; empty otherwise.
std::string InNetworkNamespace(const std::vector<std::string>& commands, const std::function<void()>& inside);

} // namespace TestSupport
