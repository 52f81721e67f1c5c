#include "hdf5/internal/NativeTypes.h"

#include <list>
#include <type_traits>
#include <vector>

#include "core/datatypes/BuiltinTypes.h"
#include "hdf5/internal/FileTree.h"
#include "hdf5/internal/H5Call.h"
#include "hdf5/internal/Names.h"
#include "hdf5/internal/Pixels.h"
#include "hdf5/internal/Shared.h"
#include "hdf5/internal/Texts.h"

namespace zarvo::hdf5::internal {

using exp::Variant;
using exp::Variant_;

namespace {

[[noreturn]] void misfit(hid_t dataset, const std::string& what, const std::string& typeName) {
    failAt(dataset, what + " does not fit type '" + typeName + "'");
}

// The element types of native datasets: numbers, bool and strings.
template <class E>
constexpr bool isElement = std::is_arithmetic_v<E> || std::is_same_v<E, std::string>;

// One element type: its HDF5 type, the class a dataset must have to be read as it, and the
// element as it lies in memory for HDF5 (bool as a signed char, a string as a pointer to
// its characters).
template <class E>
struct Elements {
    using Stored = std::conditional_t<std::is_same_v<E, bool>, signed char,
                                      std::conditional_t<std::is_same_v<E, std::string>, const char*, E>>;

    static hid_t type() {
        if constexpr (std::is_same_v<E, bool>) return boolType();
        else if constexpr (std::is_same_v<E, std::string>) return utf8Type();
        else if constexpr (std::is_same_v<E, char>) return H5T_NATIVE_CHAR;
        else if constexpr (std::is_same_v<E, signed char>) return H5T_NATIVE_SCHAR;
        else if constexpr (std::is_same_v<E, unsigned char>) return H5T_NATIVE_UCHAR;
        else if constexpr (std::is_same_v<E, short>) return H5T_NATIVE_SHORT;
        else if constexpr (std::is_same_v<E, unsigned short>) return H5T_NATIVE_USHORT;
        else if constexpr (std::is_same_v<E, int>) return H5T_NATIVE_INT;
        else if constexpr (std::is_same_v<E, unsigned int>) return H5T_NATIVE_UINT;
        else if constexpr (std::is_same_v<E, std::int64_t>) return H5T_NATIVE_INT64;
        else if constexpr (std::is_same_v<E, std::uint64_t>) return H5T_NATIVE_UINT64;
        else if constexpr (std::is_same_v<E, float>) return H5T_NATIVE_FLOAT;
        else return H5T_NATIVE_DOUBLE;
    }

    // Whether a dataset of this class can be read as E (HDF5 converts within a class).
    static bool accepts(H5T_class_t found) {
        if constexpr (std::is_same_v<E, bool>) return found == H5T_ENUM || found == H5T_INTEGER;
        else if constexpr (std::is_same_v<E, std::string>) return found == H5T_STRING;
        else if constexpr (std::is_floating_point_v<E>) return found == H5T_FLOAT;
        else return found == H5T_INTEGER;
    }

    // Whether HDF5 can hold these values natively: a C string ends at its first NUL.
    template <class It>
    static bool fits(It begin, It end) {
        if constexpr (std::is_same_v<E, std::string>)
            for (It it = begin; it != end; ++it)
                if (it->find('\0') != std::string::npos) return false;
        return true;
    }

    template <class It>
    static void write(hid_t dataset, const Selection& slot, It begin, It end) {
        std::vector<Stored> stored;
        stored.reserve(slot.count);
        for (It it = begin; it != end; ++it) {
            if constexpr (std::is_same_v<E, std::string>) stored.push_back(it->c_str());
            else stored.push_back(static_cast<Stored>(*it));
        }
        h5::dwrite(dataset, type(), slot.memory.get(), slot.file.get(), smallTransfer(), stored.data());
    }

    static std::vector<E> read(hid_t dataset, const Selection& slot, const std::string& typeName) {
        Handle found = h5::dgetType(dataset);
        const H5T_class_t kind = h5::tgetClass(found.get());
        if (!accepts(kind)) misfit(dataset, std::string("element class ") + classText(kind), typeName);
        if constexpr (std::is_same_v<E, std::string>) {
            const auto read = [&](hid_t memoryType, void* buffer) {
                h5::dread(dataset, memoryType, slot.memory.get(), slot.file.get(), smallTransfer(), buffer);
            };
            return h5::tisVariableStr(found.get()) ? readVariableTexts(slot.count, read)
                                                   : readFixedTexts(h5::tgetSize(found.get()), slot.count, read);
        } else {
            std::vector<Stored> stored(slot.count);
            // A bool written by another tool may be any integer: read it as a number.
            const hid_t memoryType = std::is_same_v<E, bool> && kind == H5T_INTEGER ? H5T_NATIVE_SCHAR : type();
            h5::dread(dataset, memoryType, slot.memory.get(), slot.file.get(), smallTransfer(), stored.data());
            return std::vector<E>(stored.begin(), stored.end());
        }
    }
};

// The families of built-in types, each written and read by one template. A type of no
// family here has no native form: it is held as its byte form.
template <class T, class = void>
struct Family {
    static constexpr bool native = false;
    static constexpr bool column = false;
};

// Numbers, bool and strings: a scalar dataset, or one element of a column.
template <class E>
struct Family<E, std::enable_if_t<isElement<E>>> {
    static constexpr bool native = true;
    static constexpr bool column = true;
    static bool write(hid_t parent, const std::string& path, const E& value) {
        if (!Elements<E>::fits(&value, &value + 1)) return false;
        Handle dataset = createDataset(parent, path, Elements<E>::type(), {});
        Elements<E>::write(dataset.get(), wholeOf(dataset.get(), 1), &value, &value + 1);
        return true;
    }
    static E read(hid_t dataset, const std::string& typeName) {
        const std::vector<hsize_t> dims = shapeOf(dataset);
        if (dims.size() > 1 || (dims.size() == 1 && dims[0] != 1))
            misfit(dataset, "shape " + shapeText(dims), typeName);
        return Elements<E>::read(dataset, wholeOf(dataset, 1), typeName).front();
    }
    static bool writeAt(hid_t column, hsize_t index, const E& value) {
        if (!Elements<E>::fits(&value, &value + 1)) return false;
        Elements<E>::write(column, elementOf(column, index), &value, &value + 1);
        return true;
    }
    static E readAt(hid_t column, hsize_t index, const std::string& typeName) {
        return Elements<E>::read(column, elementOf(column, index), typeName).front();
    }
};

// The element type of a sequence (std::vector or std::list), void for any other type.
template <class T>
struct SequenceOf {
    using type = void;
};
template <class E>
struct SequenceOf<std::vector<E>> {
    using type = E;
};
template <class E>
struct SequenceOf<std::list<E>> {
    using type = E;
};

// Sequences of numbers, bool or strings: a 1-D dataset.
template <class S>
struct Family<S, std::enable_if_t<isElement<typename SequenceOf<S>::type>>> {
    using E = typename SequenceOf<S>::type;
    static constexpr bool native = true;
    static constexpr bool column = false;
    static bool write(hid_t parent, const std::string& path, const S& value) {
        if (!Elements<E>::fits(value.begin(), value.end())) return false;
        Handle dataset = createDataset(parent, path, Elements<E>::type(), {value.size()});
        if (!value.empty())
            Elements<E>::write(dataset.get(), wholeOf(dataset.get(), value.size()), value.begin(), value.end());
        return true;
    }
    static S read(hid_t dataset, const std::string& typeName) {
        const std::vector<hsize_t> dims = shapeOf(dataset);
        if (dims.size() != 1) misfit(dataset, "shape " + shapeText(dims), typeName);
        if (dims[0] == 0) return S();
        const std::vector<E> elements = Elements<E>::read(dataset, wholeOf(dataset, dims[0]), typeName);
        return S(elements.begin(), elements.end());
    }
};

// Matrices: a dataset of pixels.
template <>
struct Family<cv::Mat> {
    static constexpr bool native = true;
    static constexpr bool column = false;
    static bool write(hid_t parent, const std::string& path, const cv::Mat& value) {
        return writePixels(parent, path, value);
    }
    static cv::Mat read(hid_t dataset, const std::string& typeName) { return readPixels(dataset, typeName); }
};

// cv::Size, cv::Point and cv::Rect: their int fields in declaration order as an int32 array.
std::vector<int> fieldsOf(const cv::Size& v) { return {v.width, v.height}; }
std::vector<int> fieldsOf(const cv::Point& v) { return {v.x, v.y}; }
std::vector<int> fieldsOf(const cv::Rect& v) { return {v.x, v.y, v.width, v.height}; }

template <class G>
struct Family<
    G, std::enable_if_t<std::is_same_v<G, cv::Size> || std::is_same_v<G, cv::Point> || std::is_same_v<G, cv::Rect>>> {
    using Fields = Family<std::vector<int>>;
    static constexpr bool native = true;
    static constexpr bool column = false;
    static bool write(hid_t parent, const std::string& path, const G& value) {
        return Fields::write(parent, path, fieldsOf(value));
    }
    static G read(hid_t dataset, const std::string& typeName) {
        const std::vector<hsize_t> dims = shapeOf(dataset);
        if (dims != std::vector<hsize_t>{fieldsOf(G()).size()}) misfit(dataset, "shape " + shapeText(dims), typeName);
        const std::vector<int> f = Fields::read(dataset, typeName);
        if constexpr (std::is_same_v<G, cv::Rect>) return G(f[0], f[1], f[2], f[3]);
        else return G(f[0], f[1]);
    }
};

template <class T>
struct Tag {
    using type = T;
};

// Calls visitor(Tag<T>()) for the built-in type T registered as typeName, and
// visitor(Tag<void>()) for any other name: what visitValue is for a held value, for a
// type named in a file.
template <class F>
auto visitTypeName(const std::string& typeName, F&& visitor) {
#define ZARVO_HDF5_VISIT_NAME(T, name) \
    if (typeName == name) return visitor(Tag<T>());
    ZARVO_BUILTIN_TYPES(ZARVO_HDF5_VISIT_NAME, ZARVO_BUILTIN_SKIP)
#undef ZARVO_HDF5_VISIT_NAME
    return visitor(Tag<void>());
}

}  // namespace

bool writeNative(hid_t parent, const std::string& path, const Variant& value) {
    return exp::visitValue(value, [&](const auto& held) {
        using T = std::decay_t<decltype(held)>;
        if constexpr (std::is_same_v<T, Variant> || !Family<T>::native) return false;
        else return Family<T>::write(parent, path, held);
    });
}

std::shared_ptr<Variant> readNative(hid_t dataset, const std::string& typeName) {
    return visitTypeName(typeName, [&](auto tag) -> std::shared_ptr<Variant> {
        using T = typename decltype(tag)::type;
        if constexpr (!Family<T>::native)
            failAt(dataset, "type '" + typeName + "' has no native form and no '" + kFormAttribute + "'");
        else return std::make_shared<Variant_<T>>(Family<T>::read(dataset, typeName));
    });
}

Handle nativeColumnType(const std::string& typeName) {
    return visitTypeName(typeName, [](auto tag) {
        using T = typename decltype(tag)::type;
        if constexpr (!Family<T>::column) return Handle();
        else return h5::tcopy(Elements<T>::type());
    });
}

bool writeNativeElement(hid_t column, hsize_t index, const Variant& value) {
    return exp::visitValue(value, [&](const auto& held) {
        using T = std::decay_t<decltype(held)>;
        if constexpr (std::is_same_v<T, Variant> || !Family<T>::column) return false;
        else return Family<T>::writeAt(column, index, held);
    });
}

std::shared_ptr<Variant> readNativeElement(hid_t column, hsize_t index, const std::string& typeName) {
    return visitTypeName(typeName, [&](auto tag) -> std::shared_ptr<Variant> {
        using T = typename decltype(tag)::type;
        if constexpr (!Family<T>::column) misfit(column, "a column", typeName);
        else return std::make_shared<Variant_<T>>(Family<T>::readAt(column, index, typeName));
    });
}

std::int64_t readInt64Element(hid_t column, hsize_t index) {
    return Family<std::int64_t>::readAt(column, index, "int64");
}

}  // namespace zarvo::hdf5::internal
