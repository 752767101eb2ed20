#pragma once

#include "shared.concurrency-overlappedop.hpp"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <vector>

namespace Shared::Concurrency
{

/// An asynchronous read or write with the bytes that it moves. Can be moved, not copied, as two owners would resize one
/// buffer; a copy of its OverlappedOp part can be waited on.
class OverlappedIo : public OverlappedOp
{
public:
    OverlappedIo();
    explicit OverlappedIo(const std::shared_ptr<OverlappedSource>& source);
    OverlappedIo(const OverlappedIo&) = delete;
    OverlappedIo(OverlappedIo&& other) noexcept;
    ~OverlappedIo() override;
    OverlappedIo& operator=(const OverlappedIo&) = delete;
    OverlappedIo& operator=(OverlappedIo&& other) noexcept;

    /// The bytes: of a read the requested size until it has ended, then what was read. The system's while the operation
    /// is pending: its size may be asked then, its content not. Throws the runtime exception "IoOverlapped is null".
    std::vector<std::uint8_t>& GetBuffer();
    const std::vector<std::uint8_t>& GetBuffer() const;
    /// Makes the buffer that of a read of `size` bytes behind `begun`, which were read before. For who starts it.
    void PrepareBuffer(std::span<const std::uint8_t> begun, std::size_t size);
    /// Cuts the buffer to the bytes that were transferred; none at all leave it as it is. Throws the runtime exception
    /// "Operation is not successful".
    void ResizeBuffer();
    /// Takes over the buffer of an operation that has read on behind the bytes of this one. With `isWhole` it holds a whole
    /// message from now on, although this operation alone read a part of it: who asks for the message again gets it here.
    void Join(OverlappedIo& rest, bool isWhole);
    bool IsJoined() const noexcept;

protected:
    /// ResizeBuffer().
    void OnCompletion() override;
};

} // namespace Shared::Concurrency
