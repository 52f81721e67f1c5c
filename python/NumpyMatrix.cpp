#include "python/NumpyMatrix.h"

#include "python/Bindings.h"

#include <array>
#include <cstdint>
#include <limits>
#include <string>
#include <vector>

namespace zarvo::python {

namespace py = pybind11;

namespace {

// The dtype of each OpenCV depth code, 0 to 7.
const std::array<const char*, 8> kDepthDtypes{"u1", "i1", "u2", "i2", "i4", "f4", "f8", "f2"};

// Lends numpy's pixels to a cv::Mat: the matrix's UMatData holds a reference to the
// array, dropped when OpenCV's count of the matrix's sharers reaches 0. A matrix that
// later needs a buffer of another size (copyTo, create) gets an ordinary one.
class NumpyAllocator final : public cv::MatAllocator {
public:
    cv::UMatData* allocate(int dims, const int* sizes, int type, void* data, size_t* step, cv::AccessFlag flags,
                           cv::UMatUsageFlags usage) const override {
        return cv::Mat::getStdAllocator()->allocate(dims, sizes, type, data, step, flags, usage);
    }
    bool allocate(cv::UMatData* data, cv::AccessFlag flags, cv::UMatUsageFlags usage) const override {
        return cv::Mat::getStdAllocator()->allocate(data, flags, usage);
    }
    void deallocate(cv::UMatData* data) const override {
        if (data == nullptr) return;
        py::gil_scoped_acquire gil;  // the last sharer may go in code that released it
        Py_XDECREF(static_cast<PyObject*>(data->userdata));
        delete data;
    }

    // mat, made over array's pixels, now keeps array alive.
    void lend(cv::Mat& mat, const py::array& array) const {
        auto* data = new cv::UMatData(this);
        data->data = data->origdata = mat.data;
        data->size = static_cast<size_t>(array.nbytes());
        data->userdata = array.inc_ref().ptr();
        data->refcount = 1;
        mat.u = data;
        mat.allocator = const_cast<NumpyAllocator*>(this);  // OpenCV only calls its const members
    }
};

// Never destroyed: a matrix may outlive every static of the module.
const NumpyAllocator& numpyAllocator() {
    static const NumpyAllocator* allocator = new NumpyAllocator();
    return *allocator;
}

// The OpenCV depth of a dtype in host order, or -1.
int depthOf(const py::dtype& dtype) {
    if (!dtype.attr("isnative").cast<bool>()) return -1;
    const std::string code = std::string(1, dtype.kind()) + std::to_string(dtype.itemsize());
    for (size_t depth = 0; depth < kDepthDtypes.size(); ++depth)
        if (code == kDepthDtypes[depth]) return static_cast<int>(depth);
    return -1;
}

// array as one with an OpenCV depth, copied; TypeError or OverflowError when there is none.
py::array convertedForMat(const py::array& array) {
    const py::module_ numpy = py::module_::import("numpy");
    const py::dtype dtype = array.dtype();
    const char kind = dtype.kind();
    if (kind == 'b') return array.attr("astype")("u1");
    if (kind == 'i' || kind == 'u') {
        if (dtype.itemsize() <= 2 || (kind == 'i' && dtype.itemsize() == 4))  // a byte-swapped OpenCV dtype
            return array.attr("astype")(dtype.attr("newbyteorder")("="));
        if (array.size() > 0) {
            const auto low = numpy.attr("min")(array).cast<long double>();
            const auto high = numpy.attr("max")(array).cast<long double>();
            if (low < std::numeric_limits<std::int32_t>::min() || high > std::numeric_limits<std::int32_t>::max())
                raise(PyExc_OverflowError, "a matrix holds " + py::str(py::handle(dtype)).cast<std::string>() +
                                               " elements as int32, and these do not fit");
        }
        return array.attr("astype")("i4");
    }
    if (kind == 'f' && dtype.itemsize() <= 8) return array.attr("astype")(dtype.attr("newbyteorder")("="));
    raise(PyExc_TypeError, "a matrix has no element type for dtype " + py::str(py::handle(dtype)).cast<std::string>());
}

}  // namespace

py::array arrayOf(const cv::Mat& mat) {
    const py::dtype dtype(kDepthDtypes[static_cast<size_t>(mat.depth())]);
    std::vector<py::ssize_t> shape;
    std::vector<py::ssize_t> strides;
    const int dims = mat.dims == 0 ? 2 : mat.dims;
    for (int axis = 0; axis < dims; ++axis) {
        shape.push_back(mat.dims == 0 ? 0 : mat.size[axis]);
        strides.push_back(mat.dims == 0 ? 0 : static_cast<py::ssize_t>(mat.step[axis]));
    }
    if (mat.channels() > 1) {
        shape.push_back(mat.channels());
        strides.push_back(static_cast<py::ssize_t>(mat.elemSize1()));
    }
    if (mat.data == nullptr) return py::array(dtype, shape);
    auto* holder = new cv::Mat(mat);
    py::capsule owner(holder, [](void* held) { delete static_cast<cv::Mat*>(held); });
    return py::array(dtype, shape, strides, mat.data, owner);
}

cv::Mat matOf(py::handle object) {
    py::array array = py::module_::import("numpy").attr("asarray")(object);
    const py::ssize_t axes = array.ndim();
    if (axes < 1 || axes > 3)
        raise(PyExc_ValueError,
              "a matrix is made from 1 to 3 axes (rows, columns, channels), not " + std::to_string(axes));
    const int channels = axes == 3 ? static_cast<int>(array.shape(2)) : 1;
    if (channels < 1 || channels > CV_CN_MAX)
        raise(PyExc_ValueError,
              "a matrix has 1 to " + std::to_string(CV_CN_MAX) + " channels, not " + std::to_string(channels));
    for (py::ssize_t axis = 0; axis < axes; ++axis)
        if (array.shape(axis) > std::numeric_limits<int>::max())
            raise(PyExc_ValueError, "a matrix has at most 2147483647 rows and columns");

    int depth = depthOf(array.dtype());
    if (depth < 0) {
        array = convertedForMat(array);
        depth = depthOf(array.dtype());
    } else {
        constexpr int shareable =
            py::array::c_style | py::detail::npy_api::NPY_ARRAY_ALIGNED_ | py::detail::npy_api::NPY_ARRAY_WRITEABLE_;
        if ((array.flags() & shareable) != shareable) array = array.attr("copy")();
    }
    const int sizes[2] = {static_cast<int>(array.shape(0)), axes == 1 ? 1 : static_cast<int>(array.shape(1))};
    const int type = CV_MAKETYPE(depth, channels);
    if (array.size() == 0) return cv::Mat(2, sizes, type);
    cv::Mat mat(2, sizes, type, array.mutable_data());
    numpyAllocator().lend(mat, array);
    return mat;
}

}  // namespace zarvo::python
