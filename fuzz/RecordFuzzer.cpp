// Reads one record type through its bounded deserialize. Compiled once per record,
// with ZARVO_FUZZ_RECORD naming it (Storage stands for DataStorage<std::string>).
#include <stdexcept>

#include "core/datatypes/CalibrationInfo.h"
#include "core/datatypes/DeviceInfo.h"
#include "core/datatypes/DeviceInfo2.h"
#include "core/datatypes/MarkedFloat.h"
#include "core/datatypes/MaterialNumber.h"
#include "core/datatypes/MeasArea.h"
#include "core/datatypes/MeasPoint.h"
#include "core/datatypes/ProbeValue.h"
#include "core/datatypes/Version.h"
#include "core/datatypes/VersionExtended.h"
#include "fuzz/FuzzSupport.h"

using namespace zarvo;
using namespace zarvo::exp;
using namespace zarvofuzz;

namespace {

using Storage = DataStorage<std::string>;

template <class R>
struct RecordForm {
    R bounded(Endian endian, const char* data, size_t available, size_t& used) const {
        return R::deserialize(endian, data, available, used);
    }
    R open(Endian endian, const char* data, size_t& used) const { return R::deserialize(endian, data, used); }
    std::string write(Endian endian, const R& record) const { return recordBytes(endian, record); }
};

template <class R>
struct RefusalsOf {
    using type = Refused<zarvo::Exception>;
};
// A material number validates the text it reads as it would a user's input.
template <>
struct RefusalsOf<MaterialNumber> {
    using type = Refused<zarvo::Exception, std::invalid_argument, std::length_error, std::runtime_error>;
};

using Record = ZARVO_FUZZ_RECORD;

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, size_t size) {
    Input in;
    if (split(bytes, size, in)) check<RefusalsOf<Record>::type>(in, RecordForm<Record>{});
    return 0;
}
