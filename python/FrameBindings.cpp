#include <sstream>
#include <string>

#include "core/datatypes/Frame.h"
#include "python/Bindings.h"
#include "python/NumpyMatrix.h"

namespace zarvo::python {

using namespace pybind11::literals;
using exp::Frame;
using Storage = exp::DataStorage<std::string>;

namespace {

Frame frameOf(py::handle image, py::handle metadata) {
    const cv::Mat pixels = image.is_none() ? cv::Mat() : matOf(image);
    if (metadata.is_none()) return Frame(pixels);
    if (!py::isinstance<py::dict>(metadata) && !py::isinstance<Storage>(metadata))
        raise(PyExc_TypeError, "frame metadata are a dict or a DataStorage, not " +
                                   py::str(py::type::handle_of(metadata).attr("__name__")).cast<std::string>());
    Storage entries = py::isinstance<py::dict>(metadata)
                          ? py::type::of<Storage>().attr("from_dict")(metadata).cast<Storage>()
                          : metadata.cast<Storage>();
    return Frame(pixels, std::move(entries));
}

// A copy with pixels of its own, made while other Python threads run.
Frame copied(const Frame& frame) {
    const cv::Mat& pixels = frame.getFrameData();
    const ReleasedFor released(pixels.total() * pixels.elemSize());
    return Frame(frame);
}

}  // namespace

void bindFrame(py::module_& module) {
    py::class_<Frame>(module, "Frame",
                      "An image with keyed metadata. Pixels are shared with numpy both ways wherever the matrix "
                      "rules allow (see Variant); the metadata are a DataStorage.")
        .def(py::init(&frameOf), "image"_a = py::none(), "metadata"_a = py::none(),
             "A frame over image (a numpy array, shared without a copy when C-contiguous, writeable and of an "
             "OpenCV dtype, else copied) with metadata (a dict as in DataStorage.from_dict, or a "
             "DataStorage, copied).")
        .def_property(
            "image", [](const Frame& frame) { return arrayOf(frame.getFrameData()); },
            [](Frame& frame, py::handle image) { frame.setFrameData(matOf(image)); },
            "A numpy array over the frame's pixels, no copy. Setting writes the new pixels into the present "
            "buffer when size and dtype match (every sharer sees them), else gives the frame a new buffer.")
        .def_property_readonly("metadata", py::overload_cast<>(&Frame::getMetaData),
                               py::return_value_policy::reference_internal,
                               "The frame's own metadata as a DataStorage: changing it changes the frame.")
        .def("copy", &copied, "A frame with its own copy of the pixels and a copy of the metadata.")
        .def("shared_copy", &Frame::getSharedDataCopy,
             "A frame sharing these pixels, with a copy of the metadata (groups copied, values shared).")
        .def("__copy__", &Frame::getSharedDataCopy, "As shared_copy().")
        .def(
            "__deepcopy__", [](const Frame& frame, py::handle) { return copied(frame); }, "memo"_a, "As copy().")
        .def("__repr__",
             [](const Frame& frame) {
                 std::ostringstream text;
                 text << frame;
                 return shownText(text.str());
             })
        // Pixels travel as a numpy array, so that pickle protocol 5 moves them out of band.
        .def(py::pickle([](Frame& frame) { return py::make_tuple(arrayOf(frame.getFrameData()), frame.getMetaData()); },
                        [](const py::tuple& state) { return frameOf(state[0], state[1]); }))
        .def("is_empty", &Frame::isEmpty, "True only if the frame has neither pixels nor metadata.");
}

}  // namespace zarvo::python
