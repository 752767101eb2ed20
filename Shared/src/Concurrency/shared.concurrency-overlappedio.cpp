#include "shared.concurrency-overlappedio.hpp"

#include "shared.exception-exceptions.hpp"

#include <utility>

namespace Shared::Concurrency
{

OverlappedIo::OverlappedIo() = default;

OverlappedIo::OverlappedIo(const std::shared_ptr<OverlappedSource>& source) : OverlappedOp(source)
{
}

OverlappedIo::OverlappedIo(OverlappedIo&& other) noexcept = default;

OverlappedIo::~OverlappedIo() = default;

OverlappedIo& OverlappedIo::operator=(OverlappedIo&& other) noexcept
{
    Move(std::move(other));
    return *this;
}

std::vector<std::uint8_t>& OverlappedIo::GetBuffer()
{
    return GetOverlapped()->GetBuffer();
}

const std::vector<std::uint8_t>& OverlappedIo::GetBuffer() const
{
    return GetOverlapped()->GetBuffer();
}

void OverlappedIo::PrepareBuffer(std::span<const std::uint8_t> begun, std::size_t size)
{
    GetOverlapped()->PrepareBuffer(begun, size);
}

void OverlappedIo::ResizeBuffer()
{
    if (!IsSuccessful())
    {
        throw Exception::RuntimeException("Operation is not successful");
    }
    const std::size_t count = GetBytesTransferred();
    const std::size_t size = GetOverlapped()->GetTarget().size();
    if (count != 0 && count != size)
    {
        GetBuffer().resize(GetBuffer().size() - size + count);
    }
}

void OverlappedIo::Join(OverlappedIo& rest, bool isWhole)
{
    GetBuffer() = std::move(rest.GetBuffer());
    if (isWhole)
    {
        GetOverlapped()->SetJoined();
    }
}

bool OverlappedIo::IsJoined() const noexcept
{
    return IsValid() && GetOverlapped()->IsJoined();
}

void OverlappedIo::OnCompletion()
{
    ResizeBuffer();
}

} // namespace Shared::Concurrency
