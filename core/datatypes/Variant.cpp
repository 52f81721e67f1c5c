#include "core/datatypes/Variant.h"

#include <ostream>
#include <string_view>
#include <unordered_map>
#include <utility>

#include "core/datatypes/TypeObject.h"

namespace zarvo::exp {

Variant::~Variant() = default;

std::shared_ptr<Variant> Variant::deserialize(const std::string& typeString, Endian endian, const char* data,
                                              size_t& size) {
    return TypeObject::find(typeString).deserialize(endian, data, size);
}

std::shared_ptr<Variant> Variant::deserialize(const std::string& typeString, Endian endian, const char* data,
                                              size_t available, size_t& size) {
    Memory::Cursor in(endian, data, available);
    std::shared_ptr<Variant> value = TypeObject::find(typeString).deserialize(in);
    if (value) size = in.consumed();
    return value;
}

std::shared_ptr<Variant> Variant::deserialize(const std::string& typeString, Memory::Cursor& in) {
    return TypeObject::find(typeString).deserialize(in);
}

std::shared_ptr<Variant> detail::readNamedValue(Memory::Cursor& in, const char* holder) {
    const std::string typeName = Memory::readValue<std::string>(in);
    std::shared_ptr<Variant> value = Variant::deserialize(typeName, in);
    if (!value) ZARVO_THROW(holder << " holds no value: its type " << typeName << " has none");
    return value;
}

std::shared_ptr<Variant> Variant::fromString(const std::string& typeString, const std::string& text) {
    return TypeObject::find(typeString).fromString(text);
}

std::shared_ptr<Variant> Variant::parse(const std::string& typeString, const std::string& text) {
    return TypeObject::find(typeString).parse(text);
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

std::ostream& operator<<(std::ostream& stream, const Variant& value) { return stream << value.toString(); }

std::string Variant::getTypeString(const std::type_info& type) { return std::string(getStringFromType(type)); }

int detail::builtinValueIndex(const std::type_info& type) {
    // Every library that holds a built-in value asks with the one std::type_info object
    // of its type, so its address finds it; a copy of the object elsewhere, and every
    // type that is no built-in one (storages are visited often), is found by name.
    using Index = std::pair<std::unordered_map<const std::type_info*, int>, std::unordered_map<std::string_view, int>>;
    static const Index index = [] {
        Index made;
#define ZARVO_INDEX_BUILTIN(T, typeString)                               \
    made.first.emplace(&typeid(T), static_cast<int>(made.first.size())); \
    made.second.emplace(typeid(T).name(), static_cast<int>(made.second.size()));
        ZARVO_BUILTIN_TYPES(ZARVO_INDEX_BUILTIN, ZARVO_BUILTIN_SKIP)
#undef ZARVO_INDEX_BUILTIN
        return made;
    }();
    const auto byAddress = index.first.find(&type);
    if (byAddress != index.first.end()) return byAddress->second;
    const auto byName = index.second.find(type.name());
    return byName != index.second.end() ? byName->second : -1;
}

#define ZARVO_INSTANTIATE_VARIANT(T, name) template class Variant_<T>;
ZARVO_BUILTIN_TYPES(ZARVO_INSTANTIATE_VARIANT, ZARVO_BUILTIN_SKIP)
ZARVO_INSTANTIATE_VARIANT(const float, "")
ZARVO_INSTANTIATE_VARIANT(const MarkedFloat, "")
#undef ZARVO_INSTANTIATE_VARIANT

}  // namespace zarvo::exp
