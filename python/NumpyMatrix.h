#pragma once

#include <pybind11/numpy.h>

#include <opencv2/core.hpp>

/// The meeting of cv::Mat and numpy: each side sees the other's pixels without a copy.
namespace zarvo::python {

/// A numpy array over mat's pixels: shape (rows, cols) or (rows, cols, channels),
/// more leading sizes for a matrix of more dimensions, dtype by the depth. The array
/// holds a header copy of mat, so the pixels live as long as the array does.
pybind11::array arrayOf(const cv::Mat& mat);

/// A cv::Mat over the pixels of a 1- to 3-dimensional numpy array ((n,) reads as n
/// rows of one column, a third axis as channels). It shares the pixels, keeping the
/// array alive, when the array is C-contiguous, writeable and of an OpenCV dtype
/// (u1, i1, u2, i2, i4, f2, f4, f8 in host order); otherwise it gets a copy (bool as
/// uint8, wider integers as int32 when every element fits). Raises TypeError for a
/// dtype with no such copy and ValueError for a shape no matrix has.
cv::Mat matOf(pybind11::handle object);

}  // namespace zarvo::python
