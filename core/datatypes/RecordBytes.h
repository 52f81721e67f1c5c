#pragma once

// What the byte readers of the identity and probe records share: each record has
// one private reader over a Memory::Cursor, and its two public deserialize forms
// run it either unbounded (the caller vouches for a complete value) or bounded
// (a field or length that runs past the end throws zarvo::Exception).

#include <cstddef>

#include "core/memory/MemoryBinary.h"

namespace zarvo::exp::Memory {

/// Runs a record's reader from the cursor's start and stores the bytes it used in
/// size (overwriting it).
template <class R>
R readRecord(R (*read)(Cursor&), Cursor in, size_t& size) {
    R value = read(in);
    size = in.consumed();
    return value;
}

}  // namespace zarvo::exp::Memory
