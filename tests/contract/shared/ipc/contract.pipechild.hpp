#pragma once

#include "lab.vellab-childprocess.hpp"
#include "test.support-temporaryfolder.hpp"

#include <cstdint>
#include <string>
#include <vector>

namespace Contract
{

/// One running child program (contract.pipechild-program.cpp). Ended on destruction at the latest.
class PipeChild
{
public:
    /// @param what the first argument, @param name the pipe's, @param more what follows.
    PipeChild(const std::string& what, const std::wstring& name, const std::vector<std::string>& more = {});

    void Kill();
    /// Waits until it has ended by itself; its exit code, or -1 when it has not in time.
    std::int32_t Wait();

private:
    TestSupport::TemporaryFolder m_folder;
    Lab::ChildProcess m_process;
};

} // namespace Contract
