"""h5py reads the file zarvo_hdf5_write_files made, as a user without the library would."""
import os

import re

import h5py
import hdf5plugin  # noqa: F401  (registers the LZ4 filter with h5py)
import numpy as np
import pytest
from silx.io.nxdata import is_valid_nxdata

FILE = os.environ["ZARVO_CPP_WRITTEN_H5"]


@pytest.fixture(scope="module")
def f():
    with h5py.File(FILE, "r", swmr=True) as handle:
        yield handle


def name_of(obj):
    return obj.attrs["zarvo_type"]


@pytest.mark.parametrize("path,dtype,value,type_name", [
    ("values/int16", np.int16, -12345, "int16"),
    ("values/uint64", np.uint64, 18000000000000000000, "uint64"),
    ("values/double", np.float64, 2.5, "double"),
    ("values/bool", np.bool_, True, "bool"),
])
def test_scalars_have_their_numpy_type(f, path, dtype, value, type_name):
    dataset = f[path]
    assert dataset.shape == () and dataset.dtype == dtype
    assert dataset[()] == value and name_of(dataset) == type_name


def test_strings_are_utf8(f):
    assert f["values/string"].asstr()[()] == "Grüße"
    assert list(f["values/vecstring"].asstr()[:]) == ["a", "bc"]


def test_sequences_geometry_matrices_storages_and_byte_forms(f):
    np.testing.assert_array_equal(f["values/vecfloat"][:], np.array([0.5, -1.5], np.float32))
    assert f["values/listuint8"].dtype == np.uint8 and list(f["values/listuint8"][:]) == [1, 2, 255]
    assert list(f["values/cvsize"][:]) == [640, 480] and f["values/cvsize"].dtype == np.int32
    assert list(f["values/cvrect"][:]) == [1, 2, 3, 4] and name_of(f["values/cvrect"]) == "cvrect"
    np.testing.assert_array_equal(f["values/cvmat"][:], np.arange(1, 7, dtype=np.float32).reshape(2, 3))
    group = f["settings"]  # a storage is a group tree
    assert name_of(group) == "storage" and sorted(group) == ["gain", "probe"]
    assert group["gain"][()] == 1.5 and group["probe/serial"][()] == 4711
    version = f["values/version"]  # other types keep their byte form
    assert name_of(version) == "version" and version.attrs["zarvo_form"] == "bytes-le"
    assert version.dtype == np.uint8 and version.shape == (12,)
    assert bytes(version[:]) == bytes([1, 0, 0, 0, 2, 0, 0, 0, 3, 0, 0, 0])


def test_frames_are_hdf5_images(f):
    image = f["frames/gray/image"]
    np.testing.assert_array_equal(image[:], np.arange(0, 60, 10, dtype=np.uint8).reshape(2, 3))
    assert image.attrs["CLASS"] == b"IMAGE" and image.attrs["IMAGE_VERSION"] == b"1.2"
    assert image.attrs["IMAGE_SUBCLASS"] == b"IMAGE_GRAYSCALE"
    white = image.attrs.get_id("IMAGE_WHITE_IS_ZERO")
    assert white.shape == () and white.dtype == np.uint8 and image.attrs["IMAGE_WHITE_IS_ZERO"] == 0
    assert f["frames/gray/metadata/exposure"][()] == 20 and name_of(f["frames/gray"]) == "frame"
    color = f["frames/color/image"]
    # OpenCV's blue 1, green 2, red 3, in the RGB order viewers assume.
    assert color.shape == (2, 2, 3) and list(color[1, 1]) == [3, 2, 1] and color.attrs["zarvo_channel_order"] == "RGB"
    assert color.attrs["IMAGE_SUBCLASS"] == b"IMAGE_TRUECOLOR"
    assert color.attrs["INTERLACE_MODE"] == b"INTERLACE_PIXEL"


def test_recording_is_chunked_by_frame_and_deflated(f):
    images = f["run/images"]
    assert name_of(f["run"]) == "recording" and images.shape == (3, 4, 5) and images.dtype == np.uint16
    assert name_of(images) == "framestack"
    assert images.chunks == (1, 4, 5) and images.compression == "gzip" and images.shuffle and images.maxshape[0] is None
    for i in range(3):
        assert (images[i] == 1000 * i).all()
    assert list(f["run/metadata/index"][:]) == [0, 1, 2]
    assert list(f["run/metadata/camera/mode"].asstr()[:]) == ["even", "odd", "even"]
    firmware = f["run/metadata/camera/firmware"]
    assert name_of(firmware) == "version" and firmware.attrs["zarvo_form"] == "bytes-le"
    assert bytes(firmware[2]) == bytes([2, 0, 0, 0, 0, 0, 0, 0, 2, 0, 0, 0])


def test_file_names_its_writer_and_time(f):
    root = f["/"].attrs
    assert root["NX_class"] == "NXroot" and root["creator"] == "zarvo-datatypes"
    assert re.fullmatch(r"\d+\.\d+\.\d+", root["creator_version"])
    assert re.fullmatch(r"\d{4}-\d\d-\d\dT\d\d:\d\d:\d\dZ", root["file_time"])


@pytest.mark.parametrize("path", ["run", "lz4run", "entry/colour"])
def test_recordings_are_nxdata_with_timestamps_as_frame_axis(f, path):
    group = f[path]
    assert is_valid_nxdata(group)
    assert group.attrs["NX_class"] == "NXdata" and group.attrs["signal"] == "images"
    images, timestamps = group["images"], group["timestamps"]
    assert list(group.attrs["axes"])[0] == "timestamps" and timestamps.dtype == np.int64
    assert timestamps.shape == (3,) and (np.diff(timestamps[:]) >= 0).all()
    assert images.dims[0][0] == timestamps and h5py.h5ds.is_scale(timestamps.id)
    for column in group["metadata"].values() if "metadata" in group else []:
        if isinstance(column, h5py.Dataset):
            assert column.dims[0][0] == timestamps


def test_lz4_and_colour_recordings_read_in_h5py(f):
    images = f["lz4run/images"]
    assert images.shuffle and "32004" in images._filters
    assert images.shape == (3, 8, 6) and images.attrs["interpretation"] == "image"
    assert images[2, 0, 1] == 4096 + 64 + (7 + 2) % 5
    # The colour recording: RGB, at the caller's times.
    images, timestamps = f["entry/colour/images"], f["entry/colour/timestamps"]
    assert "interpretation" not in images.attrs and images.attrs["zarvo_channel_order"] == "RGB"
    assert list(images[2, 1, 1]) == [30, 20, 12]
    assert list(timestamps[:]) == [1700000000000000000 + 40000000 * i for i in range(3)]
    assert f["entry"].attrs["NX_class"] == "NXentry" and f["entry"].attrs["default"] == "colour"
