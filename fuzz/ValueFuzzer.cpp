// Reads a value by a registered name that the input picks: any built-in type or
// the storage holder, or only the two matrix forms when ZARVO_FUZZ_MATRICES is
// defined, so that their headers get the whole run.
#include "fuzz/FuzzSupport.h"

using namespace zarvo::exp;
using namespace zarvofuzz;

namespace {

// Reading by name, the way every holder of a value of run-time type reads it.
struct ByName {
    const std::string& name;
    std::shared_ptr<Variant> bounded(Endian endian, const char* data, size_t available, size_t& used) const {
        return Variant::deserialize(name, endian, data, available, used);
    }
    std::shared_ptr<Variant> open(Endian endian, const char* data, size_t& used) const {
        return Variant::deserialize(name, endian, data, used);
    }
    std::string write(Endian endian, const std::shared_ptr<Variant>& value) const {
        return variantBytes(endian, value);
    }
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, size_t size) {
#ifdef ZARVO_FUZZ_MATRICES
    const std::vector<std::string>& names = matrixNames();
#else
    const std::vector<std::string>& names = valueNames();
#endif
    Input in;
    if (split(bytes, size, in)) check<Refused<zarvo::Exception>>(in, ByName{names[in.pick % names.size()]});
    return 0;
}
