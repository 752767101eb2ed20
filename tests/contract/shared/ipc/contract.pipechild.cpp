#include "contract.pipechild.hpp"

#include "shared.concurrency-functions.hpp"
#include "shared.util-functions.hpp"
#include "test.support-time.hpp"

#include <filesystem>

namespace Contract
{

namespace
{

Lab::ChildRequest RequestFor(
    const std::filesystem::path& folder,
    const std::string& what,
    const std::wstring& name,
    const std::vector<std::string>& more)
{
    const std::filesystem::path own = Shared::Util::GetCurrentExecutablePath();
    std::filesystem::path program = own.parent_path() / "shared-ipc-child";
    program.replace_extension(own.extension());
    std::vector<std::string> arguments = {what, Shared::Util::ConvertStringType(name)};
    arguments.insert(arguments.end(), more.begin(), more.end());
    return {
        .program = program,
        .arguments = arguments,
        .workingFolder = folder,
        .output = folder / "output.txt",
        .errors = folder / "errors.txt"};
}

} // namespace

PipeChild::PipeChild(const std::string& what, const std::wstring& name, const std::vector<std::string>& more)
    : m_process(RequestFor(m_folder.Path(), what, name, more))
{
}

void PipeChild::Kill()
{
    m_process.Kill();
}

std::int32_t PipeChild::Wait()
{
    (void)Shared::Concurrency::WaitFor(m_process.GetHandle(), TestSupport::LimitMs);
    return m_process.GetExitStatus().value_or(-1);
}

} // namespace Contract
