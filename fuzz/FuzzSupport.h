#pragma once

// What the fuzz harnesses and their seed generator share: the layout of an input
// (one choice byte, then the bytes to read), the names a value harness picks from,
// and the checks made on whatever a bounded reader accepts.

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "core/datatypes/DataStorage.h"
#include "core/datatypes/TypeObject.h"
#include "core/datatypes/Variant.h"

namespace zarvofuzz {

// Nested groups read back only once the storage holder has a name. Every fuzz
// program registers it, so a value read by name can be a storage too, and the seed
// generator sees the same registry as the harnesses.
[[maybe_unused]] inline const zarvo::exp::TypeObject* const kStorageEntry = zarvo::exp::registerStorageType();

using zarvo::exp::Endian;

/// One fuzz input. The first byte chooses: bit 7 set reads with swap, the low seven
/// bits pick a name where a harness reads by name. The rest is what the reader gets.
struct Input {
    Endian endian;
    unsigned pick;
    const char* data;
    size_t size;
};

/// Splits raw fuzz bytes; false for an input too short to choose anything.
inline bool split(const std::uint8_t* bytes, size_t size, Input& input) {
    if (size == 0) return false;
    input = {(bytes[0] & 0x80) != 0 ? zarvo::exp::swap : zarvo::exp::no_swap, bytes[0] & 0x7Fu,
             reinterpret_cast<const char*>(bytes + 1), size - 1};
    return true;
}

/// The choice byte that makes split() give endian and pick (below 128).
inline char choice(Endian endian, unsigned pick) {
    return static_cast<char>((endian == zarvo::exp::swap ? 0x80 : 0) | pick);
}

/// Every registered name, sorted: the seed generator and the harness must number them
/// alike, whatever order the units that register them were loaded in.
inline std::vector<std::string> registeredNames() {
    std::vector<std::string> names = zarvo::exp::TypeObject::typeStrings();
    std::sort(names.begin(), names.end());
    return names;
}

/// The names of the value harness: all of them.
inline const std::vector<std::string>& valueNames() {
    static const std::vector<std::string> names = registeredNames();
    return names;
}

/// The names of the matrix harness: the two matrix forms, whose headers decide
/// how much is allocated.
inline const std::vector<std::string>& matrixNames() {
    static const std::vector<std::string> names{"cvmat", "veccvmat"};
    return names;
}

/// Ends the run with a crash report, which libFuzzer keeps as a finding.
inline void require(bool holds, const char* broken) {
    if (holds) return;
    std::fprintf(stderr, "zarvo fuzz check failed: %s\n", broken);
    std::abort();
}

/// Refused<E...>::by(f) runs f and is false, or true when f throws one of E: the
/// ways a reader may refuse its input. Anything else passes on and ends the run.
template <class... Refusals>
struct Refused {
    template <class F>
    static bool by(F&& f) {
        f();
        return false;
    }
};
template <class E, class... More>
struct Refused<E, More...> {
    template <class F>
    static bool by(F&& f) {
        try {
            return Refused<More...>::by(f);
        } catch (const E&) { return true; }
    }
};

/// The checks on one input. A Form offers
///   bounded(endian, data, available, used) and open(endian, data, used): the two readers,
///   write(endian, value): the byte form of a value as a string.
/// The bounded reader may refuse the input as Refusal says. If it accepts, it used
/// no more than it was given; the open reader, handed exactly those bytes, reads a
/// value with the same byte form; and that byte form reads back whole into a value
/// that writes it again. A value with no byte form of its own (a point holding
/// "void") ends the checks after the first reader.
template <class Refusal, class Form>
void check(const Input& in, const Form& form) {
    using Value = decltype(form.bounded(in.endian, in.data, in.size, std::declval<size_t&>()));
    std::optional<Value> value;
    size_t used = 0;
    if (Refusal::by([&] { value.emplace(form.bounded(in.endian, in.data, in.size, used)); })) return;
    require(used <= in.size, "the bounded reader used more bytes than it was given");

    std::string bytes;
    if (Refused<zarvo::Exception>::by([&] { bytes = form.write(in.endian, *value); })) return;

    const std::vector<char> exact(in.data, in.data + used);  // on the heap, so reading past it is caught
    size_t openUsed = 0;
    const Value open = form.open(in.endian, exact.data(), openUsed);
    require(openUsed == used && form.write(in.endian, open) == bytes,
            "the open reader took another path through the same bytes");

    size_t again = 0;
    const Value back = form.bounded(in.endian, bytes.data(), bytes.size(), again);
    require(again == bytes.size() && form.write(in.endian, back) == bytes,
            "a written value does not read back to the same bytes");
}

/// The byte form of a record as a string; checks that it fills sizeofType() exactly.
template <class R>
std::string recordBytes(Endian endian, const R& record) {
    std::string bytes(record.sizeofType(), '\0');
    require(record.serialize(endian, bytes.data()) == bytes.size(), "a record wrote other than sizeofType() bytes");
    return bytes;
}

/// The byte form of a value, written into the string; a "void" value has none and
/// gives no bytes.
inline std::string variantBytes(Endian endian, const std::shared_ptr<zarvo::exp::Variant>& value) {
    if (!value) return {};
    std::string bytes(value->sizeofT_imp(), '\0');
    bytes.resize(value->serialize_imp(endian, bytes.data()));
    return bytes;
}

}  // namespace zarvofuzz
