#pragma once

namespace Shared::COM
{

/// Makes COM usable on the calling thread for as long as it lives: the thread joins the multithreaded apartment. Each
/// thread that uses WMI has one, on its own stack, made before anything of WMI and destroyed after it, on that thread.
/// COM counts, so several on one thread are fine.
///
/// Linux has no such thing: there everything succeeds and does nothing, so that a worker reads the same on both.
class ComInitialiser
{
public:
    ComInitialiser() noexcept = default;
    ComInitialiser(const ComInitialiser&) = delete;
    ComInitialiser& operator=(const ComInitialiser&) = delete;
    virtual ~ComInitialiser();

    /// Does it once for this object; further calls do nothing. The first in the process also sets the process's COM
    /// security (authentication level default, impersonation level impersonate). Where something else in the process has
    /// set it before, that stays and is logged: it cannot be changed, and what uses WMI sets it on each connection anyway.
    /// Throws ComException "Failed to initialise COM." and "Failed to initialize COM security."; may then be repeated.
    virtual void Initialise();

    virtual bool IsInitialised() const noexcept;

private:
    bool m_initialised = false;
};

} // namespace Shared::COM
