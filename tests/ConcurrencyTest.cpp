// Threads share the registry and may share a value that nobody changes. `make
// test-tsan` runs this under ThreadSanitizer, where a data race fails it.
#include <gtest/gtest.h>

#include <atomic>
#include <list>
#include <string>
#include <thread>
#include <typeinfo>
#include <vector>

#include "core/datatypes/TypeObject.h"
#include "tests/TestSupport.h"

using namespace zarvo::exp;
using namespace testsupport;

TEST(Concurrency, ThreadsLookUpTypesAndReadAndWriteValuesAtOnce) {
    const auto shared = hold(std::vector<double>(64, 2.5));
    const std::string sharedBytes[] = {bytesOf(*shared, swap), bytesOf(*shared, no_swap)};
    std::atomic<int> waiting{8}, faults{0};
    auto work = [&](int id) {
        const std::shared_ptr<Variant> mine[] = {hold(id), hold(std::vector<std::uint64_t>(50, id)),
                                                 hold(std::list<std::string>{"thread", std::to_string(id)}),
                                                 hold(std::vector<short>(33, static_cast<short>(-id)))};
        for (--waiting; waiting > 0;) std::this_thread::yield();  // start together
        for (int round = 0; round < 100; ++round) {
            for (const auto& value : mine) {
                const std::string name = value->getTypeString();
                if (TypeObject::find(name).getTypeInfo() != value->getTypeInfo()) ++faults;
                for (Endian endian : {swap, no_swap}) {
                    const std::string bytes = bytesOf(*value, endian);
                    size_t open = 0, bounded = 0;
                    if (!Variant::deserialize(name, endian, bytes.data(), open)->equal_imp(value) ||
                        !Variant::deserialize(name, endian, bytes.data(), bytes.size(), bounded)->equal_imp(value) ||
                        open != bytes.size() || bounded != bytes.size())
                        ++faults;
                    const auto cut = [&] {
                        Variant::deserialize(name, endian, bytes.data(), bytes.size() - 1, bounded);
                    };
                    if (messageOf(cut) == "(no exception)") ++faults;
                }
            }
            const std::shared_ptr<Variant> copy = shared;
            if (bytesOf(*copy, round % 2 ? no_swap : swap) != sharedBytes[round % 2] ||
                copy->value<std::vector<double>>().size() != 64 ||
                getStringFromType(typeid(double)) != std::string("double"))
                ++faults;
        }
    };
    std::vector<std::thread> threads;
    for (int id = 0; id < 8; ++id) threads.emplace_back(work, id);
    for (auto& thread : threads) thread.join();
    EXPECT_EQ(faults, 0);
}
