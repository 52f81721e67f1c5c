"""Writes, with h5py alone, the file that ReadH5pyFileTest.cpp reads: how a user prepares
inputs in Python. Every dataset names its registered type in the attribute zarvo_type."""
import os
import sys

import h5py
import numpy as np

path = sys.argv[1]
os.makedirs(os.path.dirname(path), exist_ok=True)
with h5py.File(path, "w") as f:
    def put(name, data, type_name, **options):
        f.create_dataset(name, data=data, **options).attrs["zarvo_type"] = type_name

    put("numbers/count", np.int32(-42), "int32")
    put("numbers/big", np.uint64(2**63 + 1), "uint64")
    put("numbers/ratio", 0.25, "double")
    put("numbers/flag", np.bool_(True), "bool")
    put("numbers/series", np.array([1.5, 2.5, 3.5], np.float32), "vecfloat")
    put("text/name", "Zürich", "string")
    put("text/fixed", np.bytes_(b"abc"), "string")
    put("text/list", np.array(["x", "yz"], dtype=h5py.string_dtype()), "vecstring")
    # A numpy bytes value makes a fixed-length attribute, where a str makes a variable-length one.
    put("text/bytesname", np.int16(-3), np.bytes_(b"int16"))
    put("image", np.arange(12, dtype=np.uint8).reshape(3, 4), "cvmat")
    put("settings/gain", 1.5, "double")
    put("settings/probe/serial", np.uint32(4711), "uint32")
    put("settings/probe/lens/name", "wide", "string")
    put("bad/unknown", 1, "nosuchtype")
    put("bad/shape", np.array([1, 2, 3], np.int32), "cvsize")
    put("bad/class", "text", "int32")
    put("bad/square", np.array([[7]], np.int32), "int32")
    put("bad/three", np.array([1.0, 2.0, 3.0]), "double")
    put("bad/pixels32u", np.ones((2, 2), np.uint32), "cvmat")
    put("bad/pixels64", np.ones((2, 2), np.int64), "cvmat")
    f.create_dataset("bad/unnamed", data=1)
    put("bad/bytes", np.array([2, 0, 0], np.uint8), "cvmat")
    f["bad/bytes"].attrs["zarvo_form"] = "bytes-le"
