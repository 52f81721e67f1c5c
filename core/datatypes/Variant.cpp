#include "core/datatypes/Variant.h"

#include <ostream>

#include "core/datatypes/TypeObject.h"

namespace zarvo::exp {

Variant::~Variant() = default;

std::shared_ptr<Variant> Variant::deserialize(const std::string& typeString, Endian endian, const char* data,
                                              size_t& size) {
    return TypeObject::find(typeString).deserialize(endian, data, size);
}

std::shared_ptr<Variant> Variant::fromString(const std::string& typeString, const std::string& text) {
    return TypeObject::find(typeString).fromString(text);
}

std::shared_ptr<char> Variant::serialize(Endian endian, size_t& size) const {
    size = sizeofT_imp();
    std::shared_ptr<char> buffer(new char[size], ArrayDeleter<char>());
    size = serialize_imp(endian, buffer.get());
    return buffer;
}

size_t Variant::serialize(Endian endian, std::ostream& stream) const {
    size_t size = 0;
    const std::shared_ptr<char> buffer = serialize(endian, size);
    stream.write(buffer.get(), static_cast<std::streamsize>(size));
    return size;
}

std::string Variant::getTypeString(const std::type_info& type) {
    return std::string(getStringFromType(type));
}

template class Variant_<bool>;
template class Variant_<char>;
template class Variant_<signed char>;
template class Variant_<unsigned char>;
template class Variant_<short>;
template class Variant_<unsigned short>;
template class Variant_<int>;
template class Variant_<unsigned int>;
template class Variant_<std::int64_t>;
template class Variant_<std::uint64_t>;
template class Variant_<float>;
template class Variant_<double>;
template class Variant_<const float>;

}  // namespace zarvo::exp
