#pragma once

// Internal to zarvo_transport: never installed.

#include <cstddef>
#include <memory>

#include <opencv2/core.hpp>

#include "core/memory/MemoryBinary.h"

namespace zarvo::transport::internal {

/// An OpenCV allocator for matrices over bytes that something else owns (a received
/// ZeroMQ message): the matrix's buffer record holds that owner, and releasing the
/// last matrix that shares the pixels releases the owner. Matrices created anew with
/// this allocator get OpenCV's own buffers.
class OwnerAllocator : public cv::MatAllocator {
public:
    /// The one instance; it has no state.
    static const OwnerAllocator& instance();

    /// A matrix of header's shape over pixels (size bytes), no copy, keeping owner alive as
    /// long as any matrix shares them. Throws unless size is header.pixelBytes.
    static cv::Mat wrap(const exp::Memory::Binary<cv::Mat>::Header& header, void* pixels, size_t size,
                        std::shared_ptr<const void> owner);

    /// Delegates to OpenCV's own allocator: a matrix that grows gets a buffer of its own.
    cv::UMatData* allocate(int dims, const int* sizes, int type, void* data, size_t* step, cv::AccessFlag flags,
                           cv::UMatUsageFlags usageFlags) const override;
    /// Nothing to do: the bytes are there.
    bool allocate(cv::UMatData* data, cv::AccessFlag accessFlags, cv::UMatUsageFlags usageFlags) const override;
    /// Releases the owner and the buffer record.
    void deallocate(cv::UMatData* data) const override;
};

}  // namespace zarvo::transport::internal
