#include "shared.ipc-asyncmessagebasednamedpipeclient.hpp"

namespace Shared::Ipc
{

AsyncMessageBasedNamedPipeClient::AsyncMessageBasedNamedPipeClient() noexcept = default;

AsyncMessageBasedNamedPipeClient::AsyncMessageBasedNamedPipeClient(
    const std::wstring& name, std::uint32_t bufferSize, std::uint32_t timeoutMs)
    : AsyncMessageBasedNamedPipe(name, bufferSize)
{
    Attach(Native::OpenClientPipe(GetName(), timeoutMs));
}

} // namespace Shared::Ipc
