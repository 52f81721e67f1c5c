#include "hdf5/internal/Pixels.h"

#include <climits>
#include <vector>

#include "hdf5/internal/FileTree.h"
#include "hdf5/internal/H5Call.h"
#include "hdf5/internal/Names.h"
#include "hdf5/internal/Shared.h"
#include "hdf5/internal/Texts.h"

namespace zarvo::hdf5::internal {

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
    const H5T_class_t kind = h5::tgetClass(type);
    if (kind != H5T_FLOAT && kind != H5T_INTEGER) return -1;
    const size_t size = h5::tgetSize(type);
    if (kind == H5T_FLOAT) return size == 4 ? CV_32F : size == 8 ? CV_64F : -1;
    const bool isSigned = h5::tgetSign(type) == H5T_SGN_2;
    if (size == 1) return isSigned ? CV_8S : CV_8U;
    if (size == 2) return isSigned ? CV_16S : CV_16U;
    return size == 4 && isSigned ? CV_32S : -1;
}

std::string elementTypeText(hid_t type) {
    return std::string("element type ") + classText(h5::tgetClass(type)) + " of " + std::to_string(h5::tgetSize(type)) +
           " bytes";
}

bool writePixels(hid_t parent, const std::string& path, const cv::Mat& matrix) {
    const hid_t type = pixelType(matrix.depth());
    if (matrix.dims > 2 || type < 0) return false;
    std::vector<hsize_t> dims{static_cast<hsize_t>(matrix.rows), static_cast<hsize_t>(matrix.cols)};
    if (matrix.channels() > 1) dims.push_back(static_cast<hsize_t>(matrix.channels()));
    Handle dataset = createDataset(parent, path, type, dims);
    if (matrix.empty()) return true;
    const cv::Mat dense = matrix.isContinuous() ? matrix : matrix.clone();
    h5::dwrite(dataset.get(), type, H5S_ALL, H5S_ALL, H5P_DEFAULT, dense.data);
    return true;
}

namespace {

// Reads the pixels selected in fileSpace (H5S_ALL: the whole dataset), whose image shape
// is dims: (rows, cols) or (rows, cols, channels).
cv::Mat pixelsOf(hid_t dataset, hid_t fileSpace, const std::vector<hsize_t>& dims, const std::string& typeName) {
    const hsize_t channels = dims.size() == 3 ? dims[2] : 1;
    if ((dims.size() != 2 && dims.size() != 3) || dims[0] > INT_MAX || dims[1] > INT_MAX || channels < 1 ||
        channels > CV_CN_MAX)
        failAt(dataset, "shape " + shapeText(dims) + " does not fit type '" + typeName + "'");
    Handle type = h5::dgetType(dataset);
    const int depth = depthOf(type.get());
    if (depth < 0) failAt(dataset, elementTypeText(type.get()) + " does not fit type '" + typeName + "'");
    cv::Mat pixels(static_cast<int>(dims[0]), static_cast<int>(dims[1]),
                   CV_MAKETYPE(depth, static_cast<int>(channels)));
    if (pixels.empty()) return pixels;
    Handle memory;
    if (fileSpace != H5S_ALL) {
        // Shaped like the selection (one frame of a stack), so HDF5 copies whole rows.
        std::vector<hsize_t> selected{1};
        selected.insert(selected.end(), dims.begin(), dims.end());
        memory = h5::screateSimple(static_cast<int>(selected.size()), selected.data(), nullptr);
    }
    h5::dread(dataset, pixelType(depth), memory.valid() ? memory.get() : H5S_ALL, fileSpace, smallTransfer(),
              pixels.data);
    return pixels;
}

}  // namespace

cv::Mat readPixels(hid_t dataset, const std::string& typeName) {
    return pixelsOf(dataset, H5S_ALL, shapeOf(dataset), typeName);
}

void writeStackFrame(hid_t stack, hsize_t index, const cv::Mat& image, bool filtered) {
    const cv::Mat stored = swapRedBlue(image);
    const cv::Mat dense = stored.isContinuous() ? stored : stored.clone();
    std::vector<hsize_t> offset(image.channels() > 1 ? 4 : 3, 0);
    offset[0] = index;
    if (!filtered) return h5::dwriteChunk(stack, offset.data(), dense.total() * dense.elemSize(), dense.data);
    Handle space = h5::dgetSpace(stack);
    std::vector<hsize_t> count = shapeOf(stack);
    count[0] = 1;
    h5::sselectHyperslab(space.get(), offset.data(), count.data());
    Handle memory = h5::screateSimple(static_cast<int>(count.size()), count.data(), nullptr);
    h5::dwrite(stack, pixelType(image.depth()), memory.get(), space.get(), H5P_DEFAULT, dense.data);
}

cv::Mat readStackFrame(hid_t stack, hsize_t index) {
    std::vector<hsize_t> dims = shapeOf(stack);
    if (dims.size() < 3 || index >= dims[0]) failAt(stack, "has no frame " + std::to_string(index));
    std::vector<hsize_t> start(dims.size(), 0);
    start[0] = index;
    dims[0] = 1;
    Handle space = h5::dgetSpace(stack);
    h5::sselectHyperslab(space.get(), start.data(), dims.data());
    const cv::Mat pixels = pixelsOf(stack, space.get(), {dims.begin() + 1, dims.end()}, kStackType);
    return hasAttribute(stack, kChannelOrderAttribute) ? swapRedBlue(pixels) : pixels;
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

}  // namespace zarvo::hdf5::internal
