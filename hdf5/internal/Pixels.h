#pragma once

// Internal to zarvo_hdf5: matrices as datasets of pixels, alone or as one frame of a
// recording's frame stack, and the channel order they are stored in.

#include <hdf5.h>

#include <string>

#include <opencv2/core.hpp>

namespace zarvo::hdf5::internal {

/// The HDF5 type of one pixel channel of an OpenCV depth, or a negative id for a depth HDF5
/// holds no native type for (CV_16F).
hid_t pixelType(int depth);
/// The OpenCV depth of an HDF5 pixel type, or -1 for a type no matrix holds.
int depthOf(hid_t type);
/// An element type as messages write it: "element type integer of 8 bytes".
std::string elementTypeText(hid_t type);

/// Creates the dataset at path below parent holding the matrix's pixels, shape (rows,
/// cols[, channels]); false (nothing made) for a matrix of more dimensions or a depth
/// HDF5 holds no type for.
bool writePixels(hid_t parent, const std::string& path, const cv::Mat& matrix);
/// Reads a dataset of shape (rows, cols[, channels]) as a matrix; throws for another
/// shape or an element type no matrix holds, naming typeName as the type it does not fit.
cv::Mat readPixels(hid_t dataset, const std::string& typeName);

/// Writes image as frame index of a frame stack already long enough: a frame is one
/// chunk, so an unfiltered stack takes it as it is, past HDF5's type conversion.
void writeStackFrame(hid_t stack, hsize_t index, const cv::Mat& image, bool filtered);
/// Reads frame index of a frame stack, in OpenCV's channel order.
cv::Mat readStackFrame(hid_t stack, hsize_t index);

/// Whether an image of this many channels is stored in RGB order (3 or 4 channels).
bool storedAsRgb(int channels);
/// The image with its red and blue channels swapped (BGR to RGB and back) when
/// storedAsRgb; otherwise the image itself.
cv::Mat swapRedBlue(const cv::Mat& image);

}  // namespace zarvo::hdf5::internal
