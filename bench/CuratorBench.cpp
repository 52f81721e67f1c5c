// Reading a cached curated value beside reading a shared pointer out of a vector,
// the invalidation walk down chains of 100, 1,000 and 10,000 curators, and a set
// whose walk reaches 1,000 dependents: without subscribers beside the same set and
// walk as they were before change notices existed, and with one subscriber per
// curator, which gives the cost of one notice.
#include <benchmark/benchmark.h>

#include <functional>
#include <memory>
#include <stdexcept>
#include <typeinfo>
#include <vector>

#include "BenchRatio.h"
#include "core/datatypes/CuratorStorage.h"

using namespace zarvo::exp;

namespace {

using Ids = std::vector<unsigned int>;
constexpr unsigned int kSlots = 64;

std::shared_ptr<Variant> number(int value) { return std::make_shared<Variant_<int>>(value); }

void StorageGetCached(benchmark::State& state) {
    CuratorStorage storage(kSlots);
    for (unsigned int id = 0; id < kSlots; ++id) storage.addCurator<int>(id).set(number(int(id)));
    unsigned int id = 0;
    for (auto _ : state) {
        benchmark::DoNotOptimize(&storage.get(id));
        id = (id + 1) % kSlots;
    }
}

void VectorElementByReference(benchmark::State& state) {
    std::vector<std::shared_ptr<Variant>> values;
    for (unsigned int id = 0; id < kSlots; ++id) values.push_back(number(int(id)));
    unsigned int id = 0;
    for (auto _ : state) {
        benchmark::DoNotOptimize(&values[id]);
        id = (id + 1) % kSlots;
    }
}

// Each curator lists the next one; every iteration invalidates the head, so the
// whole chain is walked, one nesting level per curator.
void InvalidateChain(benchmark::State& state) {
    const auto length = static_cast<unsigned int>(state.range(0));
    CuratorStorage storage(length);
    for (unsigned int id = 0; id + 1 < length; ++id) storage.addCurator<int>(id, {id + 1});
    storage.addCurator<int>(length - 1);
    Curator& head = *storage.find(0);
    for (auto _ : state) head.invalidate();
}

constexpr unsigned int kDependents = 1000;

// Curator 0 lists curators 1 to kDependents, each holding a value.
void fillFan(CuratorStorage& storage) {
    Ids dependents;
    for (unsigned int id = 1; id <= kDependents; ++id) dependents.push_back(id);
    storage.addCurator<int>(0, dependents);
    for (unsigned int id = 1; id <= kDependents; ++id) storage.addCurator<int>(id);
}

// The set and the walk of the storage before change notices, rebuilt step for step
// as the baseline of SetWalk: a virtual type and announcement, the dependents handed
// through a std::function to a loop over an explicit stack that checks each id, its
// slot and the path, and each dependent's invalidate handing its own (empty) list back.
class WalkBefore {
public:
    struct Curator {
        virtual ~Curator() = default;
        virtual const std::type_info& getTypeInfo() const { return typeid(int); }
        virtual void onNewValue() { invalidator(depends); }
        __attribute__((noinline)) void set(const std::shared_ptr<Variant>& value) {
            if (!value) throw std::invalid_argument("empty");
            if (getTypeInfo() != value->getTypeInfo()) throw std::invalid_argument("type");
            if (validator && !validator(value)) throw std::invalid_argument("refused");
            onNewValue();
            data = value;
        }
        __attribute__((noinline)) void invalidate() {
            data.reset();
            if (invalidator) invalidator(depends);
        }
        std::shared_ptr<Variant> data;
        std::function<bool(const std::shared_ptr<Variant>&)> validator;
        std::function<void(const Ids&)> invalidator;
        Ids depends;
    };

    explicit WalkBefore(unsigned int count) : m_onPath(count, false) {
        for (unsigned int id = 0; id < count; ++id) {
            m_curators.push_back(std::make_unique<Curator>());
            m_curators.back()->invalidator = [this](const Ids& ids) { walk(ids); };
        }
    }
    Curator& find(unsigned int id) {
        if (id >= m_curators.size() || !m_curators[id]) throw std::out_of_range("id");
        return *m_curators[id];
    }

private:
    struct Step {
        unsigned int id;
        bool leaving;
    };
    __attribute__((noinline)) void walk(const Ids& ids) {
        for (auto id = ids.rbegin(); id != ids.rend(); ++id) m_steps.push_back({*id, false});
        if (m_pRoot != nullptr) return;
        m_pRoot = &ids;
        while (!m_steps.empty()) {
            const Step step = m_steps.back();
            m_steps.pop_back();
            if (step.leaving) {
                m_onPath[step.id] = false;
                continue;
            }
            Curator& curator = find(step.id);
            if (m_onPath[step.id] || &curator.depends == m_pRoot) throw std::logic_error("cycle");
            m_onPath[step.id] = true;
            m_steps.push_back({step.id, true});
            curator.invalidate();
        }
        m_pRoot = nullptr;
    }

    std::vector<std::unique_ptr<Curator>> m_curators;
    std::vector<Step> m_steps;
    std::vector<bool> m_onPath;
    const Ids* m_pRoot = nullptr;
};

void SetWalkBefore(benchmark::State& state) {
    WalkBefore storage(kDependents + 1);
    for (unsigned int id = 1; id <= kDependents; ++id) storage.find(0).depends.push_back(id);
    const std::shared_ptr<Variant> value = number(1);
    for (auto _ : state) storage.find(0).set(value);
}

void SetWalk(benchmark::State& state) {
    CuratorStorage storage(kDependents + 1);
    fillFan(storage);
    const std::shared_ptr<Variant> value = number(1);
    for (auto _ : state) storage.set(0, value);
}

// The same with a subscriber on every curator: kDependents + 1 notices per set.
void SetWalkNotifyingEach(benchmark::State& state) {
    CuratorStorage storage(kDependents + 1);
    fillFan(storage);
    std::vector<Subscription> subscriptions;
    unsigned long long heard = 0;
    for (unsigned int id = 0; id <= kDependents; ++id)
        subscriptions.push_back(storage.subscribe(id, [&heard](unsigned int, Curator::Change) { ++heard; }));
    const std::shared_ptr<Variant> value = number(1);
    for (auto _ : state) storage.set(0, value);
    benchmark::DoNotOptimize(heard);
}

}  // namespace

BENCHMARK(SetWalkBefore);
BENCHMARK(SetWalk);
BENCHMARK(SetWalkNotifyingEach);
BENCHMARK(StorageGetCached);
BENCHMARK(VectorElementByReference);
BENCHMARK(InvalidateChain)->Arg(100)->Arg(1000)->Arg(10000);

int main(int argc, char** argv) {
    return runBenchmarksWithRatios(argc, argv,
                                   {{"SetWalk", "SetWalkBefore", 1.05},
                                    {"SetWalkNotifyingEach", "SetWalk", 3.0},
                                    {"StorageGetCached", "VectorElementByReference", 2.0},
                                    {"InvalidateChain/1000", "InvalidateChain/100", 13.0},
                                    {"InvalidateChain/10000", "InvalidateChain/1000", 13.0}});
}
