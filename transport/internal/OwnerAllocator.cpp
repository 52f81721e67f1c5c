#include "transport/internal/OwnerAllocator.h"

#include <utility>

#include "core/memory/MemoryBinary.h"

namespace zarvo::transport::internal {

const OwnerAllocator& OwnerAllocator::instance() {
    static const OwnerAllocator allocator;
    return allocator;
}

cv::Mat OwnerAllocator::wrap(const exp::Memory::Binary<cv::Mat>::Header& header, void* pixels, size_t size,
                             std::shared_ptr<const void> owner) {
    cv::Mat matrix = header.wrap(pixels, size);
    if (matrix.data == nullptr) return matrix;
    // The record OpenCV counts the sharers in; the matrix holds the first reference.
    auto* record = new cv::UMatData(&instance());
    record->data = record->origdata = static_cast<uchar*>(pixels);
    record->size = size;
    record->userdata = new std::shared_ptr<const void>(std::move(owner));
    record->refcount = 1;
    matrix.u = record;
    return matrix;
}

cv::UMatData* OwnerAllocator::allocate(int dims, const int* sizes, int type, void* data, size_t* step,
                                       cv::AccessFlag flags, cv::UMatUsageFlags usageFlags) const {
    return cv::Mat::getStdAllocator()->allocate(dims, sizes, type, data, step, flags, usageFlags);
}

bool OwnerAllocator::allocate(cv::UMatData* data, cv::AccessFlag, cv::UMatUsageFlags) const { return data != nullptr; }

void OwnerAllocator::deallocate(cv::UMatData* data) const {
    if (data == nullptr) return;
    delete static_cast<std::shared_ptr<const void>*>(data->userdata);
    delete data;
}

}  // namespace zarvo::transport::internal
