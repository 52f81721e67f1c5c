#pragma once

namespace zarvo {

/// Deleter of the byte buffers the library hands out in a std::shared_ptr: frees an array.
template <class T>
struct ArrayDeleter {
    /// Frees the array.
    void operator()(T* array) const { delete[] array; }
};

}  // namespace zarvo
