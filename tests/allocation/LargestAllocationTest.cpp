// Every allocation of this program passes through the operator new below, which keeps the largest request, so the
// test sees what a failing read asks of memory before it fails.
#include <algorithm>
#include <atomic>
#include <cstdlib>
#include <new>

#include "tests/TestSupport.h"

namespace {
std::atomic<size_t> g_largest{0};
}  // namespace

void* operator new(size_t n) {
    size_t seen = g_largest.load();
    while (n > seen && !g_largest.compare_exchange_weak(seen, n)) {}
    if (void* p = std::malloc(n != 0 ? n : 1)) return p;
    throw std::bad_alloc();
}
// The pairs match, new with malloc and delete with free; the compiler sees only the free.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wmismatched-new-delete"
void operator delete(void* p) noexcept { std::free(p); }
void operator delete(void* p, size_t) noexcept { std::free(p); }
#pragma GCC diagnostic pop

using namespace zarvo::exp;
using namespace testsupport;

// A sequence whose count the input can hold, with a bad element after the first: the read fails without
// allocating much more than its input, though the count announces far more elements in memory.
TEST(LargestAllocation, FailingSequenceReadStaysNearItsInput) {
    const std::string emptyMatrix = hex("00 00 00 00 00 00 00 00 01 00 00 00 01 00 00 00");
    const std::string hugeMatrix = hex("02 00 00 00 40 42 0f 00 40 42 0f 00 00 00 00 00 01 00 00 00 01 00 00 00");
    const struct {
        const char* name;
        std::string bytes;
    } reads[] = {{"vecstring", hex("00 00 10 00 00 00 00 00 ff ff ff ff") + std::string(4 << 20, '\0')},
                 {"veccvmat", hex("00 00 04 00") + emptyMatrix + hugeMatrix + std::string(4 << 20, '\0')}};
    for (const auto& read : reads) {
        size_t size = 0;
        g_largest = 0;
        EXPECT_THROW(Variant::deserialize(read.name, no_swap, read.bytes.data(), read.bytes.size(), size),
                     zarvo::Exception);
        EXPECT_LE(g_largest.load(), read.bytes.size() + 1024) << read.name;
    }
}
