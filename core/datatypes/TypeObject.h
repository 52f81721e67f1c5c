#pragma once

#include <cstddef>
#include <exception>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <type_traits>
#include <typeindex>
#include <typeinfo>
#include <unordered_map>
#include <vector>

#include "core/datatypes/RegistryIndex.h"
#include "core/datatypes/Variant.h"
#include "core/memory/MemoryBinary.h"

namespace zarvo::exp {

/// The registry entry of one value type: its text name, its std::type_info, and
/// how to make a Variant of it from bytes or from text. The entries fill
/// themselves during static initialisation through ZARVO_REGISTER_METATYPE.
class ZARVO_EXPORT TypeObject {
public:
    /// Keeps the pointer, not a copy: the name must outlive the entry (a string literal).
    explicit TypeObject(const char* typeString) : m_typeString(typeString) {}
    /// Copies the name pointer.
    TypeObject(const TypeObject&) = default;
    /// Copies the name pointer.
    TypeObject& operator=(const TypeObject&) = default;
    /// Virtual: the registry deletes its entries through TypeObject*.
    virtual ~TypeObject();

    /// typeid of the registered type.
    virtual const std::type_info& getTypeInfo() const = 0;
    /// Reads one value from data (a complete byte form); size receives the bytes used.
    virtual std::shared_ptr<Variant> deserialize(Endian endian, const char* data, size_t& size) const = 0;
    /// Parses one value from its text form.
    virtual std::shared_ptr<Variant> fromString(const std::string& text) const = 0;
    /// Reads one value at the cursor; a bounded cursor is never read past its end.
    /// An entry that does not override it refuses with a zarvo::Exception naming
    /// the entry: the open reader it has could read past the end of the input.
    virtual std::shared_ptr<Variant> deserialize(Memory::Cursor& in) const;
    /// Reads text that holds exactly one value, as toString writes it, and throws a
    /// zarvo::Exception naming the type and the text for anything else. This default
    /// serves entries derived by hand that know only the three readers above: it
    /// reads leniently, through fromString. TypeObject_<T> overrides it (see there).
    virtual std::shared_ptr<Variant> parse(const std::string& text) const;

    /// The registered text name.
    const char* getTypeString() const { return m_typeString; }

    /// @name Looking up and registering types
    /// @{

    /// The entry of that name; throws a zarvo::Exception if there is none.
    static const TypeObject& find(std::string_view typeString);
    /// The entry of that type (const is ignored); throws a zarvo::Exception if there is none.
    static const TypeObject& find(const std::type_info& type);
    /// The entry of that name, or nullptr.
    static const TypeObject* findP(std::string_view typeString);
    /// The entry of that type, or nullptr.
    static const TypeObject* findP(const std::type_info& type);
    /// Every registered name in the order of registration: the built-in types first,
    /// then those of the units above, as they were loaded.
    static std::vector<std::string> typeStrings();

    /// Registers T under typeString and returns the new entry. Registering T again
    /// under the same name prints a warning line on standard output and returns
    /// nullptr; under another name, or a new T under a taken name, throws.
    template <class T>
    static const TypeObject* create(const char* typeString);
    /// @}

protected:
    /// Throws the refusal of parse: "Can not read NAME (C++ type) from \"text\": " and
    /// why, the text with its control characters escaped and cut after 64 bytes.
    [[noreturn]] void refuseText(const std::string& text, const std::string& why) const;

    friend class TypeObjectInitializer;
    /// Type identity to entry.
    static std::unordered_map<std::type_index, TypeObject*>* m_pIdTypeObjects;
    /// Text name to entry; owns the entries.
    static std::unordered_map<std::string, TypeObject*>* m_pStringTypeObjects;
    /// The entries of both maps in the order they were registered (the maps keep none).
    static std::vector<const TypeObject*>* m_pRegistrationOrder;
    /// The same two mappings as flat tables, for the lookups: every value read by
    /// name goes through one.
    static RegistryIndex<std::string_view, TypeObject> s_byName;
    /// The entries by type, through the mangled name: found with any copy of a typeid.
    static RegistryIndex<const std::type_info*, TypeObject> s_byType;
    /// The entries by the address of the std::type_info they were registered with: a
    /// caller asking with that same object, as every caller of a type the libraries
    /// share does, is answered without reading the type's name.
    static RegistryIndex<const void*, TypeObject> s_byTypeAddress;

private:
    static const TypeObject* create(std::unique_ptr<TypeObject> entry);
    /// The lookups in the two maps, after a miss in the flat tables: they find the
    /// entries that a derived registry put into the maps itself.
    static const TypeObject* findInMaps(std::string_view typeString);
    /// See above.
    static const TypeObject* findInMaps(const std::type_info& type);

    const char* m_typeString;
};

/// The entry of one type T: makes Variant_<T> holders.
///
/// Its strict reading (parse) is that of T's text family in core/memory/MemoryAcsii.h:
/// numbers whole, decimal and in range, bool only "0" and "1", containers element by
/// element with every element followed by ";", a MarkedFloat with its mark. A
/// caller's own type gets the strict form of the reader its fromString uses: through
/// a static T::fromString, the value whose toString() gives the text back exactly;
/// through its stream operator, the value it extracts from the whole text with no
/// failbit. A reader that throws refuses the text, and its message is added.
template <class T>
class TypeObject_ : public TypeObject {
public:
    /// An entry named typeString (kept by pointer).
    explicit TypeObject_(const char* typeString) : TypeObject(typeString) {}
    /// typeid(T).
    const std::type_info& getTypeInfo() const override { return typeid(T); }
    /// Variant_<T>::deserialize_imp of a complete byte form.
    std::shared_ptr<Variant> deserialize(Endian endian, const char* data, size_t& size) const override {
        return Variant_<T>::deserialize_imp(endian, data, size);
    }
    /// Variant_<T>::fromString_imp.
    std::shared_ptr<Variant> fromString(const std::string& text) const override {
        return Variant_<T>::fromString_imp(text);
    }
    /// Variant_<T>::deserialize_imp at the cursor.
    std::shared_ptr<Variant> deserialize(Memory::Cursor& in) const override { return Variant_<T>::deserialize_imp(in); }
    /// The strict reading of T's text family; throws the refusal for anything else,
    /// with the reason of a caller's reader that threw.
    std::shared_ptr<Variant> parse(const std::string& text) const override {
        using Value = std::remove_const_t<T>;
        std::optional<Value> value;
        try {
            value = intern::parseTimpl<Value>(text);
        } catch (const std::exception& error) {
            refuseText(text, intern::expectedTextOf<Value>() + " (" + error.what() + ")");
        }
        if (!value) refuseText(text, intern::expectedTextOf<Value>());
        return std::make_shared<Variant_<T>>(std::move(*value));
    }
};

/// The entry "void": no value exists, so every reader gives an empty pointer, reads
/// nothing and leaves size alone.
template <>
class ZARVO_EXPORT TypeObject_<void> : public TypeObject {
public:
    /// An entry named typeString (kept by pointer).
    explicit TypeObject_(const char* typeString) : TypeObject(typeString) {}
    /// typeid(void).
    const std::type_info& getTypeInfo() const override { return typeid(void); }
    /// An empty pointer; size stays.
    std::shared_ptr<Variant> deserialize(Endian, const char*, size_t&) const override { return {}; }
    /// An empty pointer.
    std::shared_ptr<Variant> fromString(const std::string&) const override { return {}; }
    /// An empty pointer; the cursor stays.
    std::shared_ptr<Variant> deserialize(Memory::Cursor&) const override { return {}; }
    /// An empty pointer for the empty text, the one text of no value; throws for any other.
    std::shared_ptr<Variant> parse(const std::string& text) const override;
};

/// The registered text name of a type; a const char* counts as "string". Throws
/// what TypeObject::find throws.
ZARVO_EXPORT const char* getStringFromType(const std::type_info& type);
/// The type registered under a name. Throws what TypeObject::find throws.
ZARVO_EXPORT const std::type_info& getTypeFromString(const std::string& typeString);

/// Keeps the registry's maps alive for as long as any translation unit that
/// includes this header is: the first one to start creates them, the last one
/// to go deletes them and every entry.
class ZARVO_EXPORT TypeObjectInitializer {
public:
    /// Adds one to the count; the first one creates the registry's two maps.
    TypeObjectInitializer();
    /// Takes one from the count; the last one deletes the maps and every entry.
    ~TypeObjectInitializer();
    /// Not copyable: each instance is one count.
    TypeObjectInitializer(const TypeObjectInitializer&) = delete;
    /// Not assignable: each instance is one count.
    TypeObjectInitializer& operator=(const TypeObjectInitializer&) = delete;

private:
    // Touched only by the out-of-line constructor and destructor.
    static ZARVO_NO_EXPORT int s_count;
};

// One per translation unit, ahead of that unit's registrations.
static TypeObjectInitializer s_typeObjectInitializer;

// The lookups are inline: they are on the path of every value read by name.
inline const TypeObject* TypeObject::findP(std::string_view typeString) {
    if (const TypeObject* entry = s_byName.find(typeString)) return entry;
    return findInMaps(typeString);
}

inline const TypeObject* TypeObject::findP(const std::type_info& type) {
    if (const TypeObject* entry = s_byTypeAddress.find(&type)) return entry;
    if (const TypeObject* entry = s_byType.find(&type)) return entry;
    return findInMaps(type);
}

inline const TypeObject& TypeObject::find(std::string_view typeString) {
    const TypeObject* entry = findP(typeString);
    if (entry == nullptr)
        ZARVO_THROW("Unknown type string: " << typeString << " (Type registered with ZARVO_REGISTER_METATYPE(...) ?)");
    return *entry;
}

inline const TypeObject& TypeObject::find(const std::type_info& type) {
    const TypeObject* entry = findP(type);
    if (entry == nullptr) ZARVO_THROW("Unknown type id: " << zarvo::Exception::typeName(type));
    return *entry;
}

template <class T>
const TypeObject* TypeObject::create(const char* typeString) {
    return create(std::make_unique<TypeObject_<T>>(typeString));
}

}  // namespace zarvo::exp

#define ZARVO_REGISTER_METATYPE_JOIN2(a, b) a##b
#define ZARVO_REGISTER_METATYPE_JOIN(a, b) ZARVO_REGISTER_METATYPE_JOIN2(a, b)

/// Registers Type under the text name name (a string literal) during static
/// initialisation. Type needs a byte form and a text form (see Variant_).
#define ZARVO_REGISTER_METATYPE(Type, name)                                                                    \
    static const ::zarvo::exp::TypeObject* const ZARVO_REGISTER_METATYPE_JOIN(zarvoRegistered_, __COUNTER__) = \
        ::zarvo::exp::TypeObject::create<Type>(name)
