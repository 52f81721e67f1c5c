// Reads text strictly (Variant::parse) by a registered name that the input picks.
// A text is refused with a zarvo::Exception, or gives a value whose text form reads
// again to the same text form: the strict reader and toString agree on every value.
#include "fuzz/FuzzSupport.h"

using namespace zarvo::exp;
using namespace zarvofuzz;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, size_t size) {
    Input in;
    if (!split(bytes, size, in)) return 0;
    const std::string& name = valueNames()[in.pick % valueNames().size()];
    std::shared_ptr<Variant> value;
    if (Refused<zarvo::Exception>::by([&] { value = Variant::parse(name, std::string(in.data, in.size)); })) return 0;
    if (!value) return 0;  // "void" and the empty text
    const std::string text = value->toString();
    require(Variant::parse(name, text)->toString() == text, "a value's text form does not read back to itself");
    return 0;
}
