#include "core/datatypes/TypeObject.h"

#include <cstdint>
#include <iostream>
#include <string>

namespace zarvo::exp {

std::unordered_map<std::type_index, TypeObject*>* TypeObject::m_pIdTypeObjects = nullptr;
std::unordered_map<std::string, TypeObject*>* TypeObject::m_pStringTypeObjects = nullptr;
std::vector<const TypeObject*>* TypeObject::m_pRegistrationOrder = nullptr;
RegistryIndex<std::string_view, TypeObject> TypeObject::s_byName;
RegistryIndex<const std::type_info*, TypeObject> TypeObject::s_byType;
RegistryIndex<const void*, TypeObject> TypeObject::s_byTypeAddress;
int TypeObjectInitializer::s_count = 0;

TypeObjectInitializer::TypeObjectInitializer() {
    if (s_count++ == 0) {
        TypeObject::m_pIdTypeObjects = new std::unordered_map<std::type_index, TypeObject*>();
        TypeObject::m_pStringTypeObjects = new std::unordered_map<std::string, TypeObject*>();
        TypeObject::m_pRegistrationOrder = new std::vector<const TypeObject*>();
    }
}

TypeObjectInitializer::~TypeObjectInitializer() {
    if (--s_count == 0) {
        // An entry whose name was taken by another type is known by its id only.
        for (auto& entry : *TypeObject::m_pIdTypeObjects) {
            const auto named = TypeObject::m_pStringTypeObjects->find(entry.second->getTypeString());
            if (named == TypeObject::m_pStringTypeObjects->end() || named->second != entry.second) delete entry.second;
        }
        delete TypeObject::m_pIdTypeObjects;
        TypeObject::m_pIdTypeObjects = nullptr;
        for (auto& entry : *TypeObject::m_pStringTypeObjects) delete entry.second;
        delete TypeObject::m_pStringTypeObjects;
        TypeObject::m_pStringTypeObjects = nullptr;
        delete TypeObject::m_pRegistrationOrder;
        TypeObject::m_pRegistrationOrder = nullptr;
        TypeObject::s_byName.release();
        TypeObject::s_byType.release();
        TypeObject::s_byTypeAddress.release();
    }
}

TypeObject::~TypeObject() = default;

std::shared_ptr<Variant> TypeObject::deserialize(Memory::Cursor&) const {
    ZARVO_THROW("Registry entry '" << m_typeString << "' (" << zarvo::Exception::typeName(getTypeInfo())
                                   << ") has no bounded byte reader");
}

const TypeObject* TypeObject::create(std::unique_ptr<TypeObject> entry) {
    const std::type_info& type = entry->getTypeInfo();
    if (m_pIdTypeObjects->emplace(std::type_index(type), entry.get()).second) {
        s_byType.insert(&type, entry.get());
        s_byTypeAddress.insert(&type, entry.get());
        if (!m_pStringTypeObjects->emplace(entry->getTypeString(), entry.get()).second) {
            // The type stays findable by its id, which then owns the entry.
            entry.release();
            ZARVO_THROW("Type maps are inconsistent!");
        }
        m_pRegistrationOrder->push_back(entry.get());
        s_byName.insert(entry->getTypeString(), entry.get());
        return entry.release();
    }
    const std::string typeString = entry->getTypeString();
    entry.reset();
    if (typeString != find(type).getTypeString())
        ZARVO_THROW("Error: tried to register a type twice with diffrent type string! TypeName = " << typeString);
    std::cout << "WARNING: register type twice: " << typeString << "\n";
    return nullptr;
}

const TypeObject* TypeObject::findInMaps(std::string_view typeString) {
    const auto it = m_pStringTypeObjects->find(std::string(typeString));
    return it == m_pStringTypeObjects->end() ? nullptr : it->second;
}

const TypeObject* TypeObject::findInMaps(const std::type_info& type) {
    const auto it = m_pIdTypeObjects->find(std::type_index(type));
    return it == m_pIdTypeObjects->end() ? nullptr : it->second;
}

std::shared_ptr<Variant> TypeObject::parse(const std::string& text) const { return fromString(text); }

void TypeObject::refuseText(const std::string& text, const std::string& why) const {
    // A refused text may be long (a whole container) or come from a device: the
    // message shows its start, made safe for a terminal.
    constexpr size_t shown = 64;
    const std::string readable = Exception::typeName(getTypeInfo());
    ZARVO_THROW("Can not read " << m_typeString << (readable == m_typeString ? "" : " (" + readable + ")") << " from \""
                                << Exception::printable(text.substr(0, shown)) << "\""
                                << (text.size() > shown ? "... (" + std::to_string(text.size()) + " bytes)" : "")
                                << ": " << why);
}

std::shared_ptr<Variant> TypeObject_<void>::parse(const std::string& text) const {
    if (!text.empty()) refuseText(text, "expected the empty text, since void holds no value");
    return {};
}

std::vector<std::string> TypeObject::typeStrings() {
    std::vector<std::string> names;
    names.reserve(m_pRegistrationOrder->size());
    for (const TypeObject* entry : *m_pRegistrationOrder) names.emplace_back(entry->getTypeString());
    return names;
}

const char* getStringFromType(const std::type_info& type) {
    if (type == typeid(const char*)) return TypeObject::find(typeid(std::string)).getTypeString();
    return TypeObject::find(type).getTypeString();
}

const std::type_info& getTypeFromString(const std::string& typeString) {
    return TypeObject::find(typeString).getTypeInfo();
}

// The built-in types, in their fixed order of registration.
#define ZARVO_REGISTER_BUILTIN(T, name) ZARVO_REGISTER_METATYPE(T, name);
ZARVO_BUILTIN_TYPES(ZARVO_REGISTER_BUILTIN, ZARVO_REGISTER_BUILTIN)
#undef ZARVO_REGISTER_BUILTIN

}  // namespace zarvo::exp
