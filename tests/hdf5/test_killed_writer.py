"""h5py reads what a writer killed for real left: before its first frame, and while two
streams record. The writer is tests/hdf5/KilledWriter.cpp."""
import os
import select
import signal
import subprocess

import h5py
import numpy as np
import pytest

WRITER = os.environ["ZARVO_KILLED_WRITER"]


def run_until(mode, path, lines):
    """Starts the writer, reads lines of its output (30 s at most each), kills it, gives the last."""
    writer = subprocess.Popen([WRITER, mode, str(path)], stdout=subprocess.PIPE, text=True)
    last = None
    try:
        for _ in range(lines):
            ready, _, _ = select.select([writer.stdout], [], [], 30)
            assert ready, "the writer said nothing for 30 s"
            last = writer.stdout.readline().split()
    finally:
        writer.send_signal(signal.SIGKILL)
        writer.wait(30)
    assert writer.returncode == -signal.SIGKILL
    return last


def test_killed_before_the_first_frame_keeps_the_values(tmp_path):
    path = tmp_path / "early.h5"
    run_until("before-first-frame", path, 1)
    # No frame yet, so no single-writer mode: HDF5 wants the writer's mark cleared first.
    with pytest.raises(OSError):
        h5py.File(path, "r")
    subprocess.run(["h5clear", "-s", str(path)], check=True)
    with h5py.File(path, "r") as f:
        assert f["calibration/gain"][()] == 1.25 and f["operator"].asstr()[()] == "Ada"
        assert f["run"].attrs["zarvo_type"] == "recording" and f["run"].attrs["NX_class"] == "NXdata"


def test_two_streams_killed_while_recording_read_with_swmr(tmp_path):
    path = tmp_path / "streams.h5"
    fast_flushed, slow_flushed = map(int, run_until("two-streams", path, 3)[1:])
    assert (fast_flushed, slow_flushed) == (18, 6)
    with h5py.File(path, "r", swmr=True) as f:
        fast, slow = f["run/fast/images"], f["run/slow/images"]
        assert fast.shape[0] >= 18 and slow.shape[0] >= 6
        assert fast.shape[1:] == (48, 64) and slow.shape[1:] == (24, 32, 3) and slow.dtype == np.uint16
        for i in range(18):
            assert (fast[i] == i).all() and f["run/fast/metadata/index"][i] == i
        for i in range(6):
            assert list(slow[i, 5, 7]) == [2000, 1000, i]  # stored in RGB order
        assert f["calibration/gain"][()] == 1.25
