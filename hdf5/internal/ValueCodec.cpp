#include "hdf5/internal/ValueCodec.h"

#include <climits>
#include <cstring>
#include <functional>
#include <list>
#include <sstream>
#include <string>
#include <type_traits>
#include <typeindex>
#include <unordered_map>
#include <vector>

#include "core/datatypes/TypeObject.h"

namespace zarvo::hdf5::internal {

using exp::TypeObject;
using exp::Variant_;

namespace {

std::string shapeText(const std::vector<hsize_t>& dims) {
    if (dims.empty()) return "scalar";
    std::ostringstream text;
    text << "(";
    for (size_t i = 0; i < dims.size(); ++i) text << (i ? ", " : "") << dims[i];
    text << (dims.size() == 1 ? ",)" : ")");
    return text.str();
}

[[noreturn]] void misfit(const std::string& path, const std::string& what, const std::string& typeName) {
    ZARVO_THROW("'" << path << "': " << what << " does not fit type '" << typeName << "'");
}

// The space of one element of a 1-D dataset (index set) or of the whole dataset.
struct Selection {
    Handle memory;
    Handle file;
    size_t count;
};

Selection wholeOf(hid_t dataset, size_t count, const std::string& path) {
    const hsize_t n = count;
    return {ZARVO_H5_OPEN(H5Screate_simple(1, &n, nullptr), "'" << path << "': cannot make a memory space"),
            ZARVO_H5_OPEN(H5Dget_space(dataset), "'" << path << "': cannot read its space"), count};
}

Selection elementOf(hid_t dataset, hsize_t index, const std::string& path) {
    const hsize_t one = 1;
    Selection slot{ZARVO_H5_OPEN(H5Screate_simple(1, &one, nullptr), "'" << path << "': cannot make a memory space"),
                   ZARVO_H5_OPEN(H5Dget_space(dataset), "'" << path << "': cannot read its space"), 1};
    ZARVO_H5_CHECK(H5Sselect_hyperslab(slot.file.get(), H5S_SELECT_SET, &index, nullptr, &one, nullptr),
                   "'" << path << "': has no element " << index);
    return slot;
}

// A transfer with a small conversion buffer: HDF5 clears its buffer (1 MB by default) on
// every read or write that converts, which for one metadata string costs more than the
// frame. Made once and kept for the process (HDF5 frees it at exit): making a property
// list costs more than the element it transfers.
hid_t smallTransfer() {
    static const hid_t transfer = [] {
        const hid_t made = H5Pcreate(H5P_DATASET_XFER);
        if (made >= 0) H5Pset_buffer(made, 64 * 1024, nullptr, nullptr);
        return made;
    }();
    if (transfer < 0) ZARVO_THROW("cannot make a transfer property list");
    return transfer;
}

Handle copyOf(hid_t type) { return ZARVO_H5_OPEN(H5Tcopy(type), "cannot copy an HDF5 type"); }

Handle boolType() {
    // h5py's and numpy's bool: an 8-bit enumeration FALSE = 0, TRUE = 1.
    Handle type = ZARVO_H5_OPEN(H5Tenum_create(H5T_NATIVE_INT8), "cannot make the bool type");
    const signed char no = 0, yes = 1;
    H5Tenum_insert(type.get(), "FALSE", &no);
    H5Tenum_insert(type.get(), "TRUE", &yes);
    return type;
}

Handle utf8Type() {
    Handle type = copyOf(H5T_C_S1);
    H5Tset_size(type.get(), H5T_VARIABLE);
    H5Tset_cset(type.get(), H5T_CSET_UTF8);
    return type;
}

// One element kind of a native dataset: its HDF5 type, the class a dataset must have to be
// read as it, and the element as it lies in memory for HDF5 (bool as a signed char, a
// string as a pointer to its characters).
template <class E>
struct Elements {
    static Handle type() {
        if constexpr (std::is_same_v<E, bool>) return boolType();
        else if constexpr (std::is_same_v<E, std::string>) return utf8Type();
        else if constexpr (std::is_same_v<E, char>) return copyOf(H5T_NATIVE_CHAR);
        else if constexpr (std::is_same_v<E, signed char>) return copyOf(H5T_NATIVE_SCHAR);
        else if constexpr (std::is_same_v<E, unsigned char>) return copyOf(H5T_NATIVE_UCHAR);
        else if constexpr (std::is_same_v<E, short>) return copyOf(H5T_NATIVE_SHORT);
        else if constexpr (std::is_same_v<E, unsigned short>) return copyOf(H5T_NATIVE_USHORT);
        else if constexpr (std::is_same_v<E, int>) return copyOf(H5T_NATIVE_INT);
        else if constexpr (std::is_same_v<E, unsigned int>) return copyOf(H5T_NATIVE_UINT);
        else if constexpr (std::is_same_v<E, std::int64_t>) return copyOf(H5T_NATIVE_INT64);
        else if constexpr (std::is_same_v<E, std::uint64_t>) return copyOf(H5T_NATIVE_UINT64);
        else if constexpr (std::is_same_v<E, float>) return copyOf(H5T_NATIVE_FLOAT);
        else return copyOf(H5T_NATIVE_DOUBLE);
    }

    // Whether a dataset of this class can be read as E (HDF5 converts within a class).
    static bool accepts(H5T_class_t found) {
        if constexpr (std::is_same_v<E, bool>) return found == H5T_ENUM || found == H5T_INTEGER;
        else if constexpr (std::is_same_v<E, std::string>) return found == H5T_STRING;
        else if constexpr (std::is_floating_point_v<E>) return found == H5T_FLOAT;
        else return found == H5T_INTEGER;
    }

    // Whether HDF5 can hold these values natively: a C string ends at its first null.
    template <class It>
    static bool fits(It begin, It end) {
        if constexpr (std::is_same_v<E, std::string>)
            for (It it = begin; it != end; ++it)
                if (it->find('\0') != std::string::npos) return false;
        return true;
    }

    template <class It>
    static void write(hid_t dataset, const Selection& slot, It begin, It end, const std::string& path) {
        using Stored = std::conditional_t<std::is_same_v<E, bool>, signed char,
                                          std::conditional_t<std::is_same_v<E, std::string>, const char*, E>>;
        std::vector<Stored> stored;
        stored.reserve(slot.count);
        for (It it = begin; it != end; ++it) {
            if constexpr (std::is_same_v<E, std::string>) stored.push_back(it->c_str());
            else stored.push_back(static_cast<Stored>(*it));
        }
        ZARVO_H5_CHECK(H5Dwrite(dataset, type().get(), slot.memory.get(), slot.file.get(), smallTransfer(),
                                stored.data()),
                       "'" << path << "': cannot write its elements");
    }

    static std::vector<E> read(hid_t dataset, const Selection& slot, const std::string& path,
                               const std::string& typeName) {
        Handle found = ZARVO_H5_OPEN(H5Dget_type(dataset), "'" << path << "': cannot read its element type");
        const H5T_class_t kind = H5Tget_class(found.get());
        if (!accepts(kind)) misfit(path, "element class " + className(kind), typeName);
        if constexpr (std::is_same_v<E, std::string>) {
            return H5Tis_variable_str(found.get()) > 0 ? readVariable(dataset, slot, path)
                                                        : readFixed(dataset, slot, H5Tget_size(found.get()), path);
        } else {
            using Stored = std::conditional_t<std::is_same_v<E, bool>, signed char, E>;
            std::vector<Stored> stored(slot.count);
            // A bool written by another tool may be any integer: read it as a number.
            Handle memoryType = std::is_same_v<E, bool> && kind == H5T_INTEGER ? copyOf(H5T_NATIVE_SCHAR) : type();
            ZARVO_H5_CHECK(H5Dread(dataset, memoryType.get(), slot.memory.get(), slot.file.get(), smallTransfer(),
                                   stored.data()),
                           "'" << path << "': cannot read its elements as '" << typeName << "'");
            return std::vector<E>(stored.begin(), stored.end());
        }
    }

    static std::string className(H5T_class_t kind) {
        switch (kind) {
            case H5T_INTEGER: return "integer";
            case H5T_FLOAT: return "float";
            case H5T_STRING: return "string";
            case H5T_ENUM: return "enum";
            case H5T_COMPOUND: return "compound";
            case H5T_VLEN: return "variable-length";
            case H5T_ARRAY: return "array";
            default: return "opaque";
        }
    }

private:
    static std::vector<std::string> readVariable(hid_t dataset, const Selection& slot, const std::string& path) {
        Handle memoryType = utf8Type();
        std::vector<char*> texts(slot.count, nullptr);
        ZARVO_H5_CHECK(H5Dread(dataset, memoryType.get(), slot.memory.get(), slot.file.get(), smallTransfer(), texts.data()),
                       "'" << path << "': cannot read its strings");
        std::vector<std::string> result(texts.begin(), texts.end());
        H5Dvlen_reclaim(memoryType.get(), slot.memory.get(), H5P_DEFAULT, texts.data());
        return result;
    }

    static std::vector<std::string> readFixed(hid_t dataset, const Selection& slot, size_t width,
                                              const std::string& path) {
        Handle memoryType = copyOf(H5T_C_S1);
        H5Tset_size(memoryType.get(), width);
    H5Tset_strpad(memoryType.get(), H5T_STR_NULLPAD);  // all width characters, a terminator or not
        std::vector<char> buffer(width * slot.count);
        ZARVO_H5_CHECK(H5Dread(dataset, memoryType.get(), slot.memory.get(), slot.file.get(), smallTransfer(), buffer.data()),
                       "'" << path << "': cannot read its strings");
        std::vector<std::string> result;
        for (size_t i = 0; i < slot.count; ++i) {
            const char* text = buffer.data() + i * width;
            result.emplace_back(text, strnlen(text, width));
        }
        return result;
    }
};

Handle createDataset(hid_t parent, const std::string& name, hid_t type, const std::vector<hsize_t>& dims,
                     const std::string& path) {
    Handle space = ZARVO_H5_OPEN(dims.empty() ? H5Screate(H5S_SCALAR)
                                              : H5Screate_simple(static_cast<int>(dims.size()), dims.data(), nullptr),
                                 "'" << path << "': cannot make a space of shape " << shapeText(dims));
    Handle links = ZARVO_H5_OPEN(H5Pcreate(H5P_LINK_CREATE), "cannot make a link property list");
    H5Pset_create_intermediate_group(links.get(), 1);
    return ZARVO_H5_OPEN(H5Dcreate2(parent, name.c_str(), type, space.get(), links.get(), H5P_DEFAULT, H5P_DEFAULT),
                         "'" << path << "': cannot create the dataset");
}

size_t countOf(const std::vector<hsize_t>& dims) {
    size_t count = 1;
    for (hsize_t d : dims) count *= d;
    return count;
}

// The families of types held natively. Each gives write (false: not natively, for this
// value) and read; scalars also give the element access of a column.
template <class T, class = void>
struct Family;

template <class E>
struct Family<E, std::enable_if_t<std::is_arithmetic_v<E> || std::is_same_v<E, std::string>>> {
    static bool write(hid_t parent, const std::string& name, const E& value, const std::string& path) {
        if (!Elements<E>::fits(&value, &value + 1)) return false;
        Handle dataset = createDataset(parent, name, Elements<E>::type().get(), {}, path);
        Elements<E>::write(dataset.get(), wholeOf(dataset.get(), 1, path), &value, &value + 1, path);
        return true;
    }
    static E read(hid_t dataset, const std::string& path, const std::string& typeName) {
        const std::vector<hsize_t> dims = shapeOf(dataset, path);
        if (countOf(dims) != 1 || dims.size() > 1) misfit(path, "shape " + shapeText(dims), typeName);
        return Elements<E>::read(dataset, wholeOf(dataset, 1, path), path, typeName).front();
    }
    static Handle columnType() { return Elements<E>::type(); }
    static bool writeAt(hid_t column, hsize_t index, const E& value, const std::string& path) {
        if (!Elements<E>::fits(&value, &value + 1)) return false;
        Elements<E>::write(column, elementOf(column, index, path), &value, &value + 1, path);
        return true;
    }
    static E readAt(hid_t column, hsize_t index, const std::string& path, const std::string& typeName) {
        return Elements<E>::read(column, elementOf(column, index, path), path, typeName).front();
    }
};

template <class S>
struct Family<S, std::enable_if_t<exp::detail::IsSequence<S>::value>> {
    using E = typename S::value_type;
    static bool write(hid_t parent, const std::string& name, const S& value, const std::string& path) {
        if (!Elements<E>::fits(value.begin(), value.end())) return false;
        Handle dataset = createDataset(parent, name, Elements<E>::type().get(), {value.size()}, path);
        if (!value.empty())
            Elements<E>::write(dataset.get(), wholeOf(dataset.get(), value.size(), path), value.begin(), value.end(), path);
        return true;
    }
    static S read(hid_t dataset, const std::string& path, const std::string& typeName) {
        const std::vector<hsize_t> dims = shapeOf(dataset, path);
        if (dims.size() != 1) misfit(path, "shape " + shapeText(dims), typeName);
        if (dims[0] == 0) return S();
        const std::vector<E> elements = Elements<E>::read(dataset, wholeOf(dataset, dims[0], path), path, typeName);
        return S(elements.begin(), elements.end());
    }
};

}  // namespace

hid_t pixelType(int depth) {
    switch (depth) {
        case CV_8U: return H5T_NATIVE_UCHAR;
        case CV_8S: return H5T_NATIVE_SCHAR;
        case CV_16U: return H5T_NATIVE_USHORT;
        case CV_16S: return H5T_NATIVE_SHORT;
        case CV_32S: return H5T_NATIVE_INT;
        case CV_32F: return H5T_NATIVE_FLOAT;
        case CV_64F: return H5T_NATIVE_DOUBLE;
        default: return H5I_INVALID_HID;
    }
}

int depthOf(hid_t type) {
    const H5T_class_t kind = H5Tget_class(type);
    const size_t size = H5Tget_size(type);
    if (kind == H5T_FLOAT) return size == 4 ? CV_32F : size == 8 ? CV_64F : -1;
    if (kind != H5T_INTEGER) return -1;
    const bool isSigned = H5Tget_sign(type) == H5T_SGN_2;
    if (size == 1) return isSigned ? CV_8S : CV_8U;
    if (size == 2) return isSigned ? CV_16S : CV_16U;
    return size == 4 && isSigned ? CV_32S : -1;
}

namespace {

template <>
struct Family<cv::Mat> {
    static bool write(hid_t parent, const std::string& name, const cv::Mat& value, const std::string& path) {
        const hid_t type = pixelType(value.depth());
        if (value.dims > 2 || type < 0) return false;
        std::vector<hsize_t> dims{static_cast<hsize_t>(value.rows), static_cast<hsize_t>(value.cols)};
        if (value.channels() > 1) dims.push_back(static_cast<hsize_t>(value.channels()));
        Handle dataset = createDataset(parent, name, type, dims, path);
        if (value.empty()) return true;
        const cv::Mat dense = value.isContinuous() ? value : value.clone();
        ZARVO_H5_CHECK(H5Dwrite(dataset.get(), type, H5S_ALL, H5S_ALL, H5P_DEFAULT, dense.data),
                       "'" << path << "': cannot write its pixels");
        return true;
    }
    static cv::Mat read(hid_t dataset, const std::string& path, const std::string& typeName) {
        return pixelsOf(dataset, H5S_ALL, shapeOf(dataset, path), path, typeName);
    }
    // Reads the pixels selected in fileSpace, whose image shape is dims (rows, cols[, channels]).
    static cv::Mat pixelsOf(hid_t dataset, hid_t fileSpace, const std::vector<hsize_t>& dims, const std::string& path,
                              const std::string& typeName) {
        if (dims.size() != 2 && dims.size() != 3) misfit(path, "shape " + shapeText(dims), typeName);
        const hsize_t channels = dims.size() == 3 ? dims[2] : 1;
        if (dims[0] > INT_MAX || dims[1] > INT_MAX || channels < 1 || channels > CV_CN_MAX)
            misfit(path, "shape " + shapeText(dims), typeName);
        Handle type = ZARVO_H5_OPEN(H5Dget_type(dataset), "'" << path << "': cannot read its element type");
        const int depth = depthOf(type.get());
        if (depth < 0) misfit(path, "element type " + Elements<int>::className(H5Tget_class(type.get())) + " of " +
                                        std::to_string(H5Tget_size(type.get())) + " bytes", typeName);
        cv::Mat pixels(static_cast<int>(dims[0]), static_cast<int>(dims[1]),
                       CV_MAKETYPE(depth, static_cast<int>(channels)));
        if (pixels.empty()) return pixels;
        Handle memory;
        if (fileSpace != H5S_ALL) {
            // Shaped like the selection (one frame of a stack), so HDF5 copies whole rows.
            std::vector<hsize_t> selected{1};
            selected.insert(selected.end(), dims.begin(), dims.end());
            memory = ZARVO_H5_OPEN(H5Screate_simple(static_cast<int>(selected.size()), selected.data(), nullptr),
                                   "cannot make a memory space");
        }
        ZARVO_H5_CHECK(H5Dread(dataset, pixelType(depth), memory.valid() ? memory.get() : H5S_ALL, fileSpace,
                               smallTransfer(), pixels.data),
                       "'" << path << "': cannot read its pixels");
        return pixels;
    }
};

// cv::Size, cv::Point and cv::Rect: their int fields in declaration order as an int32 array.
std::vector<int> fieldsOf(const cv::Size& v) { return {v.width, v.height}; }
std::vector<int> fieldsOf(const cv::Point& v) { return {v.x, v.y}; }
std::vector<int> fieldsOf(const cv::Rect& v) { return {v.x, v.y, v.width, v.height}; }

template <class G>
struct GeometryFamily {
    static bool write(hid_t parent, const std::string& name, const G& value, const std::string& path) {
        return Family<std::vector<int>>::write(parent, name, fieldsOf(value), path);
    }
    static G read(hid_t dataset, const std::string& path, const std::string& typeName) {
        const std::vector<hsize_t> dims = shapeOf(dataset, path);
        if (dims != std::vector<hsize_t>{fieldsOf(G()).size()}) misfit(path, "shape " + shapeText(dims), typeName);
        const std::vector<int> f = Family<std::vector<int>>::read(dataset, path, typeName);
        if constexpr (std::is_same_v<G, cv::Rect>) return G(f[0], f[1], f[2], f[3]);
        else return G(f[0], f[1]);
    }
};
template <>
struct Family<cv::Size> : GeometryFamily<cv::Size> {};
template <>
struct Family<cv::Point> : GeometryFamily<cv::Point> {};
template <>
struct Family<cv::Rect> : GeometryFamily<cv::Rect> {};

// What a native type can do, behind its registered name.
struct Codec {
    std::function<bool(hid_t, const std::string&, const Variant&, const std::string&)> write;
    std::function<std::shared_ptr<Variant>(hid_t, const std::string&, const std::string&)> read;
    std::function<Handle()> columnType;  // empty for types a column holds as byte forms
    std::function<bool(hid_t, hsize_t, const Variant&, const std::string&)> writeAt;
    std::function<std::shared_ptr<Variant>(hid_t, hsize_t, const std::string&, const std::string&)> readAt;
};

template <class T>
const T& held(const Variant& value) {
    return *static_cast<const T*>(value.constAddress_imp());
}

template <class T>
Codec codecOf() {
    Codec codec;
    codec.write = [](hid_t parent, const std::string& name, const Variant& value, const std::string& path) {
        return Family<T>::write(parent, name, held<T>(value), path);
    };
    codec.read = [](hid_t dataset, const std::string& path, const std::string& typeName) -> std::shared_ptr<Variant> {
        return std::make_shared<Variant_<T>>(Family<T>::read(dataset, path, typeName));
    };
    if constexpr (std::is_arithmetic_v<T> || std::is_same_v<T, std::string>) {
        codec.columnType = [] { return Family<T>::columnType(); };
        codec.writeAt = [](hid_t column, hsize_t index, const Variant& value, const std::string& path) {
            return Family<T>::writeAt(column, index, held<T>(value), path);
        };
        codec.readAt = [](hid_t column, hsize_t index, const std::string& path,
                          const std::string& typeName) -> std::shared_ptr<Variant> {
            return std::make_shared<Variant_<T>>(Family<T>::readAt(column, index, path, typeName));
        };
    }
    return codec;
}

struct Codecs {
    std::unordered_map<std::type_index, const Codec*> byType;
    std::unordered_map<std::string, Codec> byName;
};

const Codecs& codecs() {
    static const Codecs table = [] {
        Codecs made;
#define ZARVO_HDF5_NATIVE(T) made.byName.emplace(TypeObject::find(typeid(T)).getTypeString(), codecOf<T>());
#define ZARVO_HDF5_NATIVE_WITH_SEQUENCES(E) ZARVO_HDF5_NATIVE(E) ZARVO_HDF5_NATIVE(std::vector<E>) ZARVO_HDF5_NATIVE(std::list<E>)
        ZARVO_HDF5_NATIVE_WITH_SEQUENCES(bool)
        ZARVO_HDF5_NATIVE_WITH_SEQUENCES(char)
        ZARVO_HDF5_NATIVE_WITH_SEQUENCES(signed char)
        ZARVO_HDF5_NATIVE_WITH_SEQUENCES(unsigned char)
        ZARVO_HDF5_NATIVE_WITH_SEQUENCES(short)
        ZARVO_HDF5_NATIVE_WITH_SEQUENCES(unsigned short)
        ZARVO_HDF5_NATIVE_WITH_SEQUENCES(int)
        ZARVO_HDF5_NATIVE_WITH_SEQUENCES(unsigned int)
        ZARVO_HDF5_NATIVE_WITH_SEQUENCES(std::int64_t)
        ZARVO_HDF5_NATIVE_WITH_SEQUENCES(std::uint64_t)
        ZARVO_HDF5_NATIVE_WITH_SEQUENCES(float)
        ZARVO_HDF5_NATIVE_WITH_SEQUENCES(double)
        ZARVO_HDF5_NATIVE_WITH_SEQUENCES(std::string)
        ZARVO_HDF5_NATIVE(cv::Mat)
        ZARVO_HDF5_NATIVE(cv::Size)
        ZARVO_HDF5_NATIVE(cv::Point)
        ZARVO_HDF5_NATIVE(cv::Rect)
#undef ZARVO_HDF5_NATIVE_WITH_SEQUENCES
#undef ZARVO_HDF5_NATIVE
        for (const auto& [name, codec] : made.byName) made.byType.emplace(TypeObject::find(name).getTypeInfo(), &codec);
        return made;
    }();
    return table;
}

const Codec* codecFor(const Variant& value) {
    const auto it = codecs().byType.find(value.getTypeInfo());
    return it == codecs().byType.end() ? nullptr : it->second;
}

const Codec* codecFor(const std::string& typeName) {
    const auto it = codecs().byName.find(typeName);
    return it == codecs().byName.end() ? nullptr : &it->second;
}

// The registered name a dataset gives, checked against the registry.
std::string typeNameOf(hid_t dataset, const std::string& path) {
    if (!hasAttribute(dataset, kTypeAttribute))
        ZARVO_THROW("'" << path << "': has no attribute '" << kTypeAttribute << "' naming its type");
    const std::string typeName = readTextAttribute(dataset, kTypeAttribute, path);
    if (TypeObject::findP(typeName) == nullptr || typeName == "void")
        ZARVO_THROW("'" << path << "': type '" << typeName << "' is not registered");
    return typeName;
}

}  // namespace

bool isByteForm(hid_t dataset, const std::string& path) {
    if (!hasAttribute(dataset, kFormAttribute)) return false;
    const std::string form = readTextAttribute(dataset, kFormAttribute, path);
    if (form != kByteForm) ZARVO_THROW("'" << path << "': unknown form '" << form << "'");
    return true;
}

namespace {

std::shared_ptr<Variant> fromBytes(const std::vector<char>& bytes, const std::string& path, const std::string& typeName) {
    size_t used = 0;
    std::shared_ptr<Variant> value;
    try {
        value = Variant::deserialize(typeName, fileEndian(), bytes.data(), bytes.size(), used);
    } catch (const Exception& error) {
        ZARVO_THROW("'" << path << "': its bytes do not read as '" << typeName << "': " << error.message());
    }
    if (used != bytes.size())
        ZARVO_THROW("'" << path << "': '" << typeName << "' uses " << used << " of its " << bytes.size() << " bytes");
    return value;
}

// The value's byte form, written straight into the buffer HDF5 then reads it from.
std::vector<char> byteFormOf(const Variant& value) {
    std::vector<char> bytes(value.sizeofT_imp());
    bytes.resize(value.serialize_imp(fileEndian(), bytes.data()));
    return bytes;
}

Handle byteColumnType() {
    return ZARVO_H5_OPEN(H5Tvlen_create(H5T_NATIVE_UINT8), "cannot make the byte form column type");
}

}  // namespace

cv::Mat readPixels(hid_t dataset, hid_t fileSpace, const std::vector<hsize_t>& imageDims, const std::string& path) {
    return Family<cv::Mat>::pixelsOf(dataset, fileSpace, imageDims, path, "cvmat");
}

bool storedAsRgb(int channels) { return channels == 3 || channels == 4; }

cv::Mat swapRedBlue(const cv::Mat& image) {
    if (!storedAsRgb(image.channels())) return image;
    cv::Mat swapped(image.size(), image.type());
    // Channel 0 to 2, 1 stays, 2 to 0, an alpha channel stays: the same for every depth.
    const int fromTo[] = {0, 2, 1, 1, 2, 0, 3, 3};
    cv::mixChannels(&image, 1, &swapped, 1, fromTo, static_cast<size_t>(image.channels()));
    return swapped;
}

cv::Mat readStackFrame(hid_t stack, hsize_t index, const std::string& path) {
    std::vector<hsize_t> dims = shapeOf(stack, path);
    if (dims.size() < 3 || index >= dims[0]) ZARVO_THROW("'" << path << "': has no frame " << index);
    std::vector<hsize_t> start(dims.size(), 0);
    start[0] = index;
    dims[0] = 1;
    Handle space = ZARVO_H5_OPEN(H5Dget_space(stack), "'" << path << "': cannot read its space");
    ZARVO_H5_CHECK(H5Sselect_hyperslab(space.get(), H5S_SELECT_SET, start.data(), nullptr, dims.data(), nullptr),
                   "'" << path << "': cannot select frame " << index);
    const cv::Mat pixels = readPixels(stack, space.get(), {dims.begin() + 1, dims.end()}, path);
    return hasAttribute(stack, kChannelOrderAttribute) ? swapRedBlue(pixels) : pixels;
}

Endian fileEndian() {
    const std::uint16_t probe = 1;
    unsigned char first;
    std::memcpy(&first, &probe, 1);
    return first == 1 ? exp::no_swap : exp::swap;
}

bool hasAttribute(hid_t object, const char* name) { return H5Aexists(object, name) > 0; }

namespace {

// Texts as a variable-length UTF-8 attribute of the given space.
void writeTexts(hid_t object, const char* name, const std::vector<const char*>& texts, hid_t space) {
    Handle type = utf8Type();
    Handle attribute = ZARVO_H5_OPEN(H5Acreate2(object, name, type.get(), space, H5P_DEFAULT, H5P_DEFAULT),
                                     "cannot create the attribute '" << name << "'");
    ZARVO_H5_CHECK(H5Awrite(attribute.get(), type.get(), texts.data()), "cannot write the attribute '" << name << "'");
}

}  // namespace

void writeTextAttribute(hid_t object, const char* name, const std::string& text) {
    Handle space = ZARVO_H5_OPEN(H5Screate(H5S_SCALAR), "cannot make a scalar space");
    writeTexts(object, name, {text.c_str()}, space.get());
}

void writeTextListAttribute(hid_t object, const char* name, const std::vector<std::string>& texts) {
    const hsize_t count = texts.size();
    Handle space = ZARVO_H5_OPEN(H5Screate_simple(1, &count, nullptr), "cannot make a space of " << count << " texts");
    std::vector<const char*> pointers;
    for (const std::string& text : texts) pointers.push_back(text.c_str());
    writeTexts(object, name, pointers, space.get());
}

void writeFixedTextAttribute(hid_t object, const char* name, const std::string& text) {
    Handle type = copyOf(H5T_C_S1);
    H5Tset_size(type.get(), text.size() + 1);
    H5Tset_strpad(type.get(), H5T_STR_NULLTERM);
    Handle space = ZARVO_H5_OPEN(H5Screate(H5S_SCALAR), "cannot make a scalar space");
    Handle attribute = ZARVO_H5_OPEN(H5Acreate2(object, name, type.get(), space.get(), H5P_DEFAULT, H5P_DEFAULT),
                                     "cannot create the attribute '" << name << "'");
    ZARVO_H5_CHECK(H5Awrite(attribute.get(), type.get(), text.c_str()), "cannot write the attribute '" << name << "'");
}

std::string readTextAttribute(hid_t object, const char* name, const std::string& path) {
    Handle attribute = ZARVO_H5_OPEN(H5Aopen(object, name, H5P_DEFAULT), "'" << path << "': has no attribute '" << name << "'");
    Handle type = ZARVO_H5_OPEN(H5Aget_type(attribute.get()), "'" << path << "': cannot read the type of '" << name << "'");
    if (H5Tget_class(type.get()) != H5T_STRING) ZARVO_THROW("'" << path << "': attribute '" << name << "' is no string");
    if (H5Tis_variable_str(type.get()) > 0) {
        Handle memoryType = utf8Type();
        char* text = nullptr;
        ZARVO_H5_CHECK(H5Aread(attribute.get(), memoryType.get(), &text), "'" << path << "': cannot read '" << name << "'");
        std::string result = text ? text : "";
        H5free_memory(text);
        return result;
    }
    const size_t width = H5Tget_size(type.get());
    Handle memoryType = copyOf(H5T_C_S1);
    H5Tset_size(memoryType.get(), width);
    H5Tset_strpad(memoryType.get(), H5T_STR_NULLPAD);  // all width characters, a terminator or not
    std::vector<char> buffer(width);
    ZARVO_H5_CHECK(H5Aread(attribute.get(), memoryType.get(), buffer.data()), "'" << path << "': cannot read '" << name << "'");
    return std::string(buffer.data(), strnlen(buffer.data(), width));
}

Handle createGroup(hid_t file, const std::string& path, const std::string& typeName) {
    Handle links = ZARVO_H5_OPEN(H5Pcreate(H5P_LINK_CREATE), "cannot make a link property list");
    H5Pset_create_intermediate_group(links.get(), 1);
    Handle group = ZARVO_H5_OPEN(H5Gcreate2(file, path.c_str(), links.get(), H5P_DEFAULT, H5P_DEFAULT),
                                 "'" << path << "': cannot create the group");
    if (!typeName.empty()) writeTextAttribute(group.get(), kTypeAttribute, typeName);
    return group;
}

Handle openObject(hid_t file, const std::string& path, H5I_type_t kind) {
    Handle object = ZARVO_H5_OPEN(H5Oopen(file, path.c_str(), H5P_DEFAULT), "'" << path << "': no such object");
    if (H5Iget_type(object.get()) != kind)
        ZARVO_THROW("'" << path << "': is " << (kind == H5I_GROUP ? "no group" : "no dataset"));
    return object;
}

std::vector<std::string> memberNames(hid_t group, const std::string& path) {
    std::vector<std::string> names;
    const auto collect = [](hid_t, const char* name, const H5L_info_t*, void* data) -> herr_t {
        static_cast<std::vector<std::string>*>(data)->push_back(name);
        return 0;
    };
    ZARVO_H5_CHECK(H5Literate(group, H5_INDEX_NAME, H5_ITER_INC, nullptr, collect, &names),
                   "'" << path << "': cannot list its members");
    return names;
}

std::string childPath(const std::string& path, const std::string& name) {
    return path.empty() || path.back() == '/' ? path + name : path + "/" + name;
}

std::string typeAttributeOf(hid_t object, const std::string& path) {
    return hasAttribute(object, kTypeAttribute) ? readTextAttribute(object, kTypeAttribute, path)
               : "";
}

std::vector<hsize_t> shapeOf(hid_t dataset, const std::string& path) {
    Handle space = ZARVO_H5_OPEN(H5Dget_space(dataset), "'" << path << "': cannot read its space");
    const int rank = H5Sget_simple_extent_ndims(space.get());
    if (rank < 0) ZARVO_THROW("'" << path << "': cannot read its shape");
    std::vector<hsize_t> dims(static_cast<size_t>(rank));
    H5Sget_simple_extent_dims(space.get(), dims.data(), nullptr);
    return dims;
}

void writeValue(hid_t parent, const std::string& name, const Variant& value, const std::string& path) {
    const std::string typeName = value.getTypeString();
    const Codec* codec = codecFor(value);
    if (codec == nullptr || !codec->write(parent, name, value, path)) {
        const std::vector<char> bytes = byteFormOf(value);
        Handle dataset = createDataset(parent, name, H5T_NATIVE_UINT8, {bytes.size()}, path);
        if (!bytes.empty())
            ZARVO_H5_CHECK(H5Dwrite(dataset.get(), H5T_NATIVE_UINT8, H5S_ALL, H5S_ALL, H5P_DEFAULT, bytes.data()),
                           "'" << path << "': cannot write its bytes");
        writeTextAttribute(dataset.get(), kFormAttribute, kByteForm);
    }
    Handle dataset = ZARVO_H5_OPEN(H5Dopen2(parent, name.c_str(), H5P_DEFAULT), "'" << path << "': cannot open the dataset");
    writeTextAttribute(dataset.get(), kTypeAttribute, typeName);
}

std::shared_ptr<Variant> readValue(hid_t dataset, const std::string& path) {
    if (hasAttribute(dataset, kPerFrameAttribute))
        ZARVO_THROW("'" << path << "': holds one element per frame of a recording (shape " << shapeText(shapeOf(dataset, path))
                        << "), not one value: read them with RecordingFile::readElement");
    const std::string typeName = typeNameOf(dataset, path);
    if (isByteForm(dataset, path)) {
        const std::vector<hsize_t> dims = shapeOf(dataset, path);
        if (dims.size() != 1) misfit(path, "byte form of shape " + shapeText(dims), typeName);
        std::vector<char> bytes(dims[0]);
        if (!bytes.empty())
            ZARVO_H5_CHECK(H5Dread(dataset, H5T_NATIVE_UINT8, H5S_ALL, H5S_ALL, smallTransfer(), bytes.data()),
                           "'" << path << "': cannot read its bytes");
        return fromBytes(bytes, path, typeName);
    }
    const Codec* codec = codecFor(typeName);
    if (codec == nullptr) ZARVO_THROW("'" << path << "': type '" << typeName << "' has no native form and no '" << kFormAttribute << "'");
    return codec->read(dataset, path, typeName);
}

Handle columnElementType(const std::string& typeName) {
    const Codec* codec = codecFor(typeName);
    return codec && codec->columnType ? codec->columnType() : Handle();
}

void writeColumnElement(hid_t column, hsize_t index, const Variant& value, bool byteForm, const std::string& path) {
    const Codec* codec = codecFor(value);
    if (!byteForm) {
        if (codec == nullptr || !codec->writeAt || !codec->writeAt(column, index, value, path))
            ZARVO_THROW("'" << path << "': a value of type '" << value.getTypeString() << "' does not fit this column");
        return;
    }
    std::vector<char> bytes = byteFormOf(value);
    hvl_t element{bytes.size(), bytes.data()};
    const Selection slot = elementOf(column, index, path);
    ZARVO_H5_CHECK(H5Dwrite(column, byteColumnType().get(), slot.memory.get(), slot.file.get(), smallTransfer(),
                            &element),
                   "'" << path << "': cannot write element " << index);
}

std::int64_t readInt64Element(hid_t column, hsize_t index, const std::string& path) {
    return Elements<std::int64_t>::read(column, elementOf(column, index, path), path, "int64").at(0);
}

std::shared_ptr<Variant> readColumnElement(hid_t column, hsize_t index, const std::string& path) {
    const std::string typeName = typeNameOf(column, path);
    if (!isByteForm(column, path)) {
        const Codec* codec = codecFor(typeName);
        if (codec == nullptr || !codec->readAt) misfit(path, "a column", typeName);
        return codec->readAt(column, index, path, typeName);
    }
    const Selection slot = elementOf(column, index, path);
    Handle type = byteColumnType();
    hvl_t element{0, nullptr};
    ZARVO_H5_CHECK(H5Dread(column, type.get(), slot.memory.get(), slot.file.get(), smallTransfer(), &element),
                   "'" << path << "': cannot read element " << index);
    const char* data = static_cast<const char*>(element.p);
    const std::vector<char> bytes(data, data + element.len);
    H5Dvlen_reclaim(type.get(), slot.memory.get(), H5P_DEFAULT, &element);
    return fromBytes(bytes, path, typeName);
}

}  // namespace zarvo::hdf5::internal
