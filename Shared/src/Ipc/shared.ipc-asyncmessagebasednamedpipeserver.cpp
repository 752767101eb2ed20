#include "shared.ipc-asyncmessagebasednamedpipeserver.hpp"

#include "shared.exception-exceptions.hpp"
#include "shared.ipc-pipeioexception.hpp"
#include "shared.platform-errors.hpp"

#include <utility>

namespace Shared::Ipc
{

AsyncMessageBasedNamedPipeServer::AsyncMessageBasedNamedPipeServer() noexcept = default;

AsyncMessageBasedNamedPipeServer::AsyncMessageBasedNamedPipeServer(
    const std::wstring& name, std::uint32_t bufferSize, bool inherit, const std::wstring& securityDescriptor)
    : AsyncMessageBasedNamedPipe(name, bufferSize), m_securityDescriptor(securityDescriptor), m_inherit(inherit)
{
    AsyncMessageBasedNamedPipeServer::CreatePipe();
}

AsyncMessageBasedNamedPipeServer::AsyncMessageBasedNamedPipeServer(AsyncMessageBasedNamedPipeServer&& other) noexcept =
    default;

AsyncMessageBasedNamedPipeServer& AsyncMessageBasedNamedPipeServer::operator=(
    AsyncMessageBasedNamedPipeServer&& other) noexcept
{
    if (this != &other)
    {
        m_securityDescriptor = std::move(other.m_securityDescriptor);
        m_maximumInstances = other.m_maximumInstances;
        m_inherit = other.m_inherit;
        m_openMode = other.m_openMode;
        m_pipeMode = other.m_pipeMode;
        Move(std::move(other));
    }
    return *this;
}

AsyncMessageBasedNamedPipeServer::~AsyncMessageBasedNamedPipeServer()
{
    AsyncMessageBasedNamedPipeServer::Close();
}

void AsyncMessageBasedNamedPipeServer::Close() noexcept
{
    Disconnect();
    AsyncMessageBasedNamedPipe::Close();
}

void AsyncMessageBasedNamedPipeServer::Disconnect() noexcept
{
    if (GetEnd() != nullptr)
    {
        GetEnd()->Disconnect();
    }
}

Concurrency::OverlappedOp AsyncMessageBasedNamedPipeServer::Connect()
{
    if (!IsOpen())
    {
        throw Exception::RuntimeException("No valid pipe handle to connect");
    }
    Concurrency::OverlappedOp operation(GetEnd());
    const std::uint32_t code = GetEnd()->StartConnect(operation.ShareBlock());
    operation.SetStartResult(code);
    if (code != Platform::ErrorCode::Success && code != Platform::ErrorCode::IoPending)
    {
        throw PipeIoException("ConnectNamedPipe() failed", code);
    }
    return operation;
}

void AsyncMessageBasedNamedPipeServer::CreatePipe()
{
    Attach(Native::CreateServerPipe(
        {.name = GetName(),
         .bufferSize = GetBufferSize(),
         .inheritable = m_inherit,
         .securityDescriptor = m_securityDescriptor,
         .maximumInstances = m_maximumInstances,
         .openMode = m_openMode,
         .pipeMode = m_pipeMode}));
}

} // namespace Shared::Ipc
