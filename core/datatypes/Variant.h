#pragma once

#include <cstddef>
#include <cstdint>
#include <iosfwd>
#include <limits>
#include <list>
#include <memory>
#include <string>
#include <type_traits>
#include <typeinfo>
#include <utility>
#include <vector>

#include <opencv2/core.hpp>

#include "core/datatypes/ArrayDeleter.h"
#include "core/datatypes/BuiltinTypes.h"
#include "core/datatypes/MarkedFloat.h"
#include "core/memory/MemoryAcsii.h"
#include "core/memory/MemoryBinary.h"
#include "valuefault/Exception.h"

namespace zarvo::exp {

/// A value of a type known only at run time: asked about its type, read, compared,
/// turned into text and bytes. Always held by std::shared_ptr<Variant>; shared,
/// never cloned. Variant_<T> holds the value.
class ZARVO_EXPORT Variant {
public:
    /// A base with no state of its own.
    Variant() = default;
    /// Copies nothing: a Variant has no state of its own.
    Variant(const Variant&) = default;
    /// Copies nothing: a Variant has no state of its own.
    Variant& operator=(const Variant&) = default;
    /// Virtual: holders are destroyed through std::shared_ptr<Variant>.
    virtual ~Variant();

    /// T is a fundamental type.
    virtual bool isFundamental() const = 0;
    /// T is an enumeration (never, for the types of this library).
    virtual bool isEnum() const = 0;
    /// T is a class.
    virtual bool isClass() const = 0;
    /// T is arithmetic: the numeric getters work.
    virtual bool isArithmetic() const = 0;
    /// T is bool, a char kind or an integer.
    virtual bool isIntegral() const = 0;
    /// T is float or double.
    virtual bool isFloatingPoint() const = 0;
    /// T is a std::vector or a std::list.
    virtual bool isContainer() const = 0;
    /// T can be copied (always).
    virtual bool isCopyable() const = 0;
    /// equal_imp works for T.
    virtual bool isComparable() const = 0;
    /// T is const: no mutable address, no move.
    virtual bool isConst() const = 0;
    /// T has a byte form in both byte orders; when false only no_swap works.
    virtual bool isSwappable() const = 0;
    /// The registered text name of T; throws for an unregistered type.
    virtual std::string getTypeString() const = 0;
    /// typeid(T); const on T makes no difference.
    virtual const std::type_info& getTypeInfo() const = 0;
    /// Exact number of bytes serialize_imp writes for the present value.
    virtual size_t sizeofT_imp() const = 0;
    /// Mutable address of the held value; throws for a const T.
    virtual void* address_imp() = 0;
    /// Address of the held value.
    virtual const void* address_imp() const = 0;
    /// Address of the held value, for reading.
    virtual const void* constAddress_imp() const = 0;
    /// The text form of the value.
    virtual std::string toString() const = 0;
    /// The value as bool (value != 0); throws unless T is arithmetic.
    virtual bool toBool() const = 0;
    /// The value cast to signed char; throws unless T is arithmetic.
    virtual signed char toInt8() const = 0;
    /// The value cast to unsigned char; throws unless T is arithmetic.
    virtual unsigned char toUInt8() const = 0;
    /// The value cast to short; throws unless T is arithmetic.
    virtual short toInt16() const = 0;
    /// The value cast to unsigned short; throws unless T is arithmetic.
    virtual unsigned short toUInt16() const = 0;
    /// The value cast to int; throws unless T is arithmetic.
    virtual int toInt32() const = 0;
    /// The value cast to unsigned int; throws unless T is arithmetic.
    virtual unsigned int toUInt32() const = 0;
    /// The value cast to a 64-bit signed integer; throws unless T is arithmetic.
    virtual std::int64_t toInt64() const = 0;
    /// The value cast to a 64-bit unsigned integer; throws unless T is arithmetic.
    virtual std::uint64_t toUInt64() const = 0;
    /// The value cast to float; throws unless T is arithmetic.
    virtual float toFloat() const = 0;
    /// The value cast to double; throws unless T is arithmetic.
    virtual double toDouble() const = 0;
    /// Writes the byte form at data (sizeofT_imp() bytes of room); returns the bytes written.
    virtual size_t serialize_imp(Endian endian, char* data) const = 0;
    /// Equality with another, non-empty variant: integral values compare by value
    /// across their types, everything else only within one type.
    virtual bool equal_imp(std::shared_ptr<Variant> other) const = 0;

    /// @name Reading and writing by registered name
    /// @{

    /// Reads a value of the registered type typeString from data, which must hold a
    /// complete byte form; size receives the bytes used.
    static std::shared_ptr<Variant> deserialize(const std::string& typeString, Endian endian, const char* data,
                                                size_t& size);
    /// Reads a value of the registered type typeString from the available bytes at
    /// data, never past them; size receives the bytes used ("void" gives an empty
    /// pointer and leaves size alone, as the open reader does). Input that ends early or holds an implausible count,
    /// length or matrix header throws a zarvo::Exception.
    static std::shared_ptr<Variant> deserialize(const std::string& typeString, Endian endian, const char* data,
                                                size_t available, size_t& size);
    /// Reads a value of the registered type typeString at the cursor: the way records
    /// and storages read the values they hold.
    static std::shared_ptr<Variant> deserialize(const std::string& typeString, Memory::Cursor& in);
    /// Parses a value of the registered type typeString from its text form, leniently:
    /// a number is what a stream extracts from the text, and nothing is reported.
    static std::shared_ptr<Variant> fromString(const std::string& typeString, const std::string& text);
    /// Reads a value of the registered type typeString from text that holds exactly one
    /// value of it, as toString writes it; anything else (no number, trailing characters,
    /// a value out of range, "true" for bool) throws a zarvo::Exception that names the
    /// type and the text. See TypeObject_ for what each type accepts.
    static std::shared_ptr<Variant> parse(const std::string& typeString, const std::string& text);
    /// The byte form in a new buffer of exactly size bytes (one allocation).
    std::shared_ptr<char> serialize(Endian endian, size_t& size) const;
    /// Writes the byte form to stream; returns the number of bytes written.
    size_t serialize(Endian endian, std::ostream& stream) const;
    /// @}

    /// A copy of the value; throws unless the held type is T (no conversion at all).
    /// A const holder is read with a const T.
    template <class T>
    T value();
    /// The held value if it is a T, else nullptr; const on either side does not count.
    /// The checked way to read a value in place.
    template <class T>
    const T* getIf() const;

protected:
    /// The registered text name of a type.
    static std::string getTypeString(const std::type_info& type);
};

/// Writes the value's text form, its toString(), to a stream.
ZARVO_EXPORT std::ostream& operator<<(std::ostream& stream, const Variant& value);

namespace detail {

/// A registered name at the cursor, then a value of that type: how records hold a
/// value. A name whose type holds no value ("void") is refused with a message
/// naming holder, since the record could then be neither written nor printed.
ZARVO_EXPORT std::shared_ptr<Variant> readNamedValue(Memory::Cursor& in, const char* holder);

/// Whether T is a std::vector or std::list.
template <class T>
struct IsSequence : std::false_type {};
template <class E>
struct IsSequence<std::vector<E>> : std::true_type {};
template <class E>
struct IsSequence<std::list<E>> : std::true_type {};

/// The equality of T as a variant sees it: available when T has an == that
/// yields a bool, unless a family says otherwise below.
template <class T, class = void>
struct Equality : std::false_type {};
template <class T>
struct Equality<
    T, std::enable_if_t<std::is_convertible_v<decltype(std::declval<const T&>() == std::declval<const T&>()), bool>>>
    : std::true_type {};
// Matrices have no equality of their own: nothing compares pixels.
template <>
struct Equality<cv::Mat> : std::false_type {};
template <>
struct Equality<std::vector<cv::Mat>> : std::false_type {};
template <>
struct Equality<std::list<cv::Mat>> : std::false_type {};

/// A float truncated toward zero into a 32- or 64-bit signed integer, as the
/// processor's truncating conversion does: a NaN or a value out of range gives
/// the lowest value of the target instead of undefined behaviour.
template <class Int, class F>
Int truncated(F value) {
    constexpr F bound = static_cast<F>(std::numeric_limits<Int>::max()) + F(1);  // 2^31 or 2^63, exact
    if (!(value > -bound - F(1) && value < bound)) return std::numeric_limits<Int>::min();
    return static_cast<Int>(value);
}

/// The numeric conversion behind the getters: a plain cast. Integers keep their low
/// bits or widen by the sign of the source; floats truncate toward zero. A float
/// out of the target's range gives the low bits of its truncation to a 32-bit
/// signed integer (targets up to 32 bits but unsigned int) or to a 64-bit signed
/// integer (unsigned int and int64); a uint64 target takes the whole unsigned range.
template <class D, class S>
D numericCast(S value) {
    if constexpr (std::is_same_v<D, bool>) {
        return value != 0;
    } else if constexpr (std::is_floating_point_v<S> && std::is_integral_v<D>) {
        if constexpr (std::is_same_v<D, std::uint64_t>) {
            constexpr S twoTo63 = S(9223372036854775808.0);
            if (value >= twoTo63 && value < twoTo63 * 2) return static_cast<D>(value);
            return static_cast<D>(truncated<std::int64_t>(value));
        } else if constexpr (sizeof(D) == 8 || std::is_same_v<D, unsigned int>) {
            return static_cast<D>(truncated<std::int64_t>(value));
        } else {
            return static_cast<D>(truncated<std::int32_t>(value));
        }
    } else {
        return static_cast<D>(value);
    }
}

}  // namespace detail

/// Holds one value of type T behind the Variant interface. The library provides
/// the instances for its registered types; a caller's own type T needs a byte form
/// (Memory::Binary<T>, or the record members serialize/deserialize/sizeofType)
/// and a text form (intern::Text<T>, members toString/fromString, or stream
/// operators) before it is registered with ZARVO_REGISTER_METATYPE.
template <class T>
class Variant_ : public Variant {
    using Value = std::remove_const_t<T>;

public:
    /// Holds a copy of value.
    explicit Variant_(const Value& value) : m_value(value) {}
    /// Holds value, moved in.
    explicit Variant_(Value&& value) : m_value(std::move(value)) {}

    /// std::is_fundamental_v<T>.
    bool isFundamental() const override { return std::is_fundamental_v<T>; }
    /// std::is_enum_v<T>.
    bool isEnum() const override { return std::is_enum_v<T>; }
    /// std::is_class_v<T>.
    bool isClass() const override { return std::is_class_v<T>; }
    /// std::is_arithmetic_v<T>.
    bool isArithmetic() const override { return std::is_arithmetic_v<T>; }
    /// std::is_integral_v<T>.
    bool isIntegral() const override { return std::is_integral_v<T>; }
    /// std::is_floating_point_v<T>.
    bool isFloatingPoint() const override { return std::is_floating_point_v<T>; }
    /// T is a std::vector or std::list.
    bool isContainer() const override { return detail::IsSequence<Value>::value; }
    /// T is copy-constructible.
    bool isCopyable() const override { return std::is_copy_constructible_v<Value>; }
    /// T has an equality the variant uses (never a matrix).
    bool isComparable() const override { return detail::Equality<Value>::value; }
    /// std::is_const_v<T>.
    bool isConst() const override { return std::is_const_v<T>; }
    /// T's byte form exists in both byte orders.
    bool isSwappable() const override { return Memory::Binary<Value>::swappable; }

    using Variant::getTypeString;
    /// The name typeid(T) is registered under; throws if there is none.
    std::string getTypeString() const override { return getTypeString(typeid(T)); }
    /// typeid(T).
    const std::type_info& getTypeInfo() const override { return typeid(T); }

    /// Memory::sizeofT of the value; throws for a type without byte form.
    size_t sizeofT_imp() const override {
        if constexpr (Memory::Binary<Value>::available) return Memory::sizeofT(m_value);
        else ZARVO_THROW("sizeT not available for this type: " << zarvo::Exception::typeName(typeid(T)));
    }

    /// Mutable address of the held value; throws for a const T.
    void* address_imp() override {
        if constexpr (std::is_const_v<T>) ZARVO_THROW("Can't get void* address pointer from const data!");
        else return &m_value;
    }
    /// Address of the held value.
    const void* address_imp() const override { return &m_value; }
    /// Address of the held value, for reading.
    const void* constAddress_imp() const override { return &m_value; }

    /// intern::toStringTimpl of the value.
    std::string toString() const override { return intern::toStringTimpl<Value>(m_value); }

    /// value != 0; throws unless T is arithmetic.
    bool toBool() const override { return convert<bool>(); }
    /// The value cast to signed char; throws unless T is arithmetic.
    signed char toInt8() const override { return convert<signed char>(); }
    /// The value cast to unsigned char; throws unless T is arithmetic.
    unsigned char toUInt8() const override { return convert<unsigned char>(); }
    /// The value cast to short; throws unless T is arithmetic.
    short toInt16() const override { return convert<short>(); }
    /// The value cast to unsigned short; throws unless T is arithmetic.
    unsigned short toUInt16() const override { return convert<unsigned short>(); }
    /// The value cast to int; throws unless T is arithmetic.
    int toInt32() const override { return convert<int>(); }
    /// The value cast to unsigned int; throws unless T is arithmetic.
    unsigned int toUInt32() const override { return convert<unsigned int>(); }
    /// The value cast to a 64-bit signed integer; throws unless T is arithmetic.
    std::int64_t toInt64() const override { return convert<std::int64_t>(); }
    /// The value cast to a 64-bit unsigned integer; throws unless T is arithmetic.
    std::uint64_t toUInt64() const override { return convert<std::uint64_t>(); }
    /// The value cast to float; throws unless T is arithmetic.
    float toFloat() const override { return convert<float>(); }
    /// The value cast to double; throws unless T is arithmetic.
    double toDouble() const override { return convert<double>(); }

    /// Memory::serializeT of the value; throws for a type without byte form.
    size_t serialize_imp(Endian endian, char* data) const override {
        if constexpr (Memory::Binary<Value>::available) return Memory::serializeT(endian, data, m_value);
        else ZARVO_THROW("type '" << zarvo::Exception::typeName(typeid(T)) << "' can not be serialized ");
    }

    /// Integral values by value across types, others by == within T; throws if T has no equality.
    bool equal_imp(std::shared_ptr<Variant> other) const override {
        if constexpr (!detail::Equality<Value>::value) {
            ZARVO_THROW("no comparison operator available for type: " << zarvo::Exception::typeName(typeid(T)));
        } else {
            if (isIntegral() && other->isIntegral()) return other->toUInt64() == toUInt64();
            if (other->getTypeInfo() != typeid(T)) return false;
            return *static_cast<const Value*>(other->constAddress_imp()) == m_value;
        }
    }

    /// Replaces the held value by value, moved in; value is left empty. Throws for a const T.
    virtual void moveImpl(T&& value) {
        if constexpr (std::is_const_v<T>) {
            ZARVO_THROW("A variant holding const data can not be moved!");
        } else if (&value != &m_value) {
            m_value = std::move(value);
            if constexpr (detail::IsSequence<Value>::value) value.clear();
        }
    }

    /// Reads one value from data (a complete byte form) into a new holder; size
    /// receives the bytes used.
    static std::shared_ptr<Variant> deserialize_imp(Endian endian, const char* data, size_t& size) {
        return Memory::readFrom(Memory::Cursor(endian, data), size,
                                [](Memory::Cursor& in) { return deserialize_imp(in); });
    }

    /// Reads one value at the cursor into a new holder.
    static std::shared_ptr<Variant> deserialize_imp(Memory::Cursor& in) {
        if constexpr (Memory::Binary<Value>::available) {
            return std::make_shared<Variant_>(Memory::readValue<Value>(in));
        } else {
            ZARVO_THROW("type '" << zarvo::Exception::typeName(typeid(T)) << "' can not be deserialized ");
        }
    }

    /// Parses one value from its text form into a new holder.
    static std::shared_ptr<Variant> fromString_imp(const std::string& text) {
        return std::make_shared<Variant_>(intern::fromStringTimpl<Value>(text));
    }

private:
    template <class D>
    D convert() const {
        if constexpr (std::is_arithmetic_v<T>) return detail::numericCast<D>(m_value);
        else
            ZARVO_THROW(zarvo::Exception::typeName(typeid(T))
                        << " is not convertible to " << zarvo::Exception::typeName(typeid(D)));
    }

    T m_value;
};

template <class T>
T Variant::value() {
    if (getTypeInfo() != typeid(T))
        ZARVO_THROW("Variant-type (" << zarvo::Exception::typeName(getTypeInfo()) << ")"
                                     << "!= Template-type (" << zarvo::Exception::typeName(typeid(T)) << ")");
    if constexpr (std::is_const_v<T>) return *static_cast<const T*>(constAddress_imp());
    else return *static_cast<T*>(address_imp());
}

// Compiled once, in the library, and exported from there: every built-in value type,
// and the constant float and MarkedFloat that a curator storage hands out.
#define ZARVO_EXTERN_VARIANT(T, name) extern template class ZARVO_EXPORT Variant_<T>;
ZARVO_BUILTIN_TYPES(ZARVO_EXTERN_VARIANT, ZARVO_BUILTIN_SKIP)
ZARVO_EXTERN_VARIANT(const float, "")
ZARVO_EXTERN_VARIANT(const MarkedFloat, "")
#undef ZARVO_EXTERN_VARIANT

template <class T>
const T* Variant::getIf() const {
    if (getTypeInfo() != typeid(T)) return nullptr;
    return static_cast<const T*>(constAddress_imp());
}

namespace detail {

/// The position of type in ZARVO_BUILTIN_TYPES' value types (void left out), or -1:
/// one look-up, whichever the type.
ZARVO_EXPORT int builtinValueIndex(const std::type_info& type);

/// visitor called with the value held by a variant known to hold a T.
template <class T, class Result, class F>
Result callWithHeld(const Variant& value, F& visitor) {
    return static_cast<Result>(visitor(*static_cast<const T*>(value.constAddress_imp())));
}

}  // namespace detail

/// Calls visitor with the held value in its real type, visitor(const T&), when that is
/// one of the built-in types (a const holder gives its plain T), and visitor(value)
/// with the variant itself for any other type, a caller's own or a storage. Returns
/// what the call returns; the result of the fallback call sets the return type.
template <class F>
std::invoke_result_t<F, const Variant&> visitValue(const Variant& value, F&& visitor) {
    using Result = std::invoke_result_t<F, const Variant&>;
    using Call = Result (*)(const Variant&, F&);
#define ZARVO_VISIT_BUILTIN(T, name) &detail::callWithHeld<T, Result, F>,
    static constexpr Call calls[] = {ZARVO_BUILTIN_TYPES(ZARVO_VISIT_BUILTIN, ZARVO_BUILTIN_SKIP)};
#undef ZARVO_VISIT_BUILTIN
    const int index = detail::builtinValueIndex(value.getTypeInfo());
    return index < 0 ? static_cast<Result>(visitor(value)) : calls[index](value, visitor);
}

}  // namespace zarvo::exp
