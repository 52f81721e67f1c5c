// Threads share the registry and may share a value that nobody changes. `make
// test-tsan` runs this under ThreadSanitizer, where a data race fails it.
#include <atomic>
#include <thread>

#include "tests/TestSupport.h"

using namespace zarvo::exp;
using namespace testsupport;

TEST(Concurrency, ThreadsLookUpTypesAndReadAndWriteValuesAtOnce) {
    const auto shared = hold(std::vector<double>(64, 2.5));
    const std::string sharedBytes = bytesOf(*shared, swap);
    std::atomic<int> waiting{8}, faults{0};
    auto work = [&](int id) {
        const std::shared_ptr<Variant> mine[] = {hold(id), hold(std::list<std::string>{"thread", std::to_string(id)}),
                                                 hold(std::vector<short>(33, static_cast<short>(-id)))};
        for (--waiting; waiting > 0;) std::this_thread::yield();  // start together
        for (int round = 0; round < 100; ++round) {
            const Endian endian = round % 2 ? swap : no_swap;
            for (const auto& value : mine) {
                const std::string name = value->getTypeString(), bytes = bytesOf(*value, endian);
                size_t size = 0;
                const auto back = Variant::deserialize(name, endian, bytes.data(), bytes.size(), size);
                if (TypeObject::find(name).getTypeInfo() != value->getTypeInfo() || !back->equal_imp(value)) ++faults;
            }
            if (bytesOf(*std::shared_ptr<Variant>(shared), swap) != sharedBytes) ++faults;
        }
    };
    std::vector<std::thread> threads;
    for (int id = 0; id < 8; ++id) threads.emplace_back(work, id);
    for (auto& thread : threads) thread.join();
    EXPECT_EQ(faults, 0);
}
