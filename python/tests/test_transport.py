# The transport from Python: the module's sockets, its codec against raw pyzmq sockets
# that read and write the wire layout with struct and numpy alone, and the C++ side as a
# real child process (zarvo-inspect). Every socket is on 127.0.0.1 with a port the OS
# chooses, or inproc; every wait is bounded.
import json
import os
import struct
import subprocess
import threading
import time

import numpy as np
import pytest
import zarvo_datatypes as z

zmq = pytest.importorskip("zmq")
pytestmark = pytest.mark.skipif(not hasattr(z, "Publisher"), reason="module built without zarvo_transport")

INSPECT = os.environ.get("ZARVO_INSPECT")
needs_inspect = pytest.mark.skipif(not INSPECT, reason="ZARVO_INSPECT names no zarvo-inspect")
HEADER = struct.Struct("<4sHBBQqQ")  # magic, version, kind, reserved, sequence, send time, sender
ANY_PORT = "tcp://127.0.0.1:*"


def sample_frame():
    return z.Frame(np.arange(12, dtype=np.uint16).reshape(3, 4), {"gain": 2.5})


def inspect(*args):
    return subprocess.Popen([INSPECT, *args], stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True)


def finished(process):
    out, err = process.communicate(timeout=30)
    return process.returncode, out, err


def test_encode_is_the_wire_layout_and_shares_the_pixels():
    frame = sample_frame()
    parts = z.encode("cam", frame, sequence=5, send_time=-7, sender=9)
    assert all(isinstance(part, memoryview) and part.readonly for part in parts)
    assert bytes(parts[0]) == b"cam" and bytes(parts[1]) == HEADER.pack(b"ZRVO", 1, 3, 0, 5, -7, 9)
    assert bytes(parts[2]) == struct.pack("<QI4sI6sd", 1, 4, b"gain", 6, b"double", 2.5)
    assert bytes(parts[3]) == struct.pack("<IiiIII", 2, 3, 4, 2, 1, 2)  # dims, sizes, CV_16U, channels, 2 bytes
    assert np.shares_memory(np.frombuffer(parts[4], np.uint8), frame.image)
    del frame
    assert bytes(parts[4]) == np.arange(12, dtype="<u2").tobytes()  # the view keeps the pixels alive
    value = z.encode("", z.Variant(-2, "int32"), sequence=1, send_time=3, sender=4)
    assert [bytes(p) for p in value] == [b"", HEADER.pack(b"ZRVO", 1, 1, 0, 1, 3, 4), b"int32", b"\xfe\xff\xff\xff"]
    assert [bytes(p) for p in z.encode("t", None, send_time=0)] == [b"t", HEADER.pack(b"ZRVO", 1, 4, 0, 0, 0, 0)]
    with pytest.raises(TypeError, match="encode takes a Variant, a DataStorage or a Frame .None: end of stream., not int"):
        z.encode("t", 5)


def test_decode_over_pyzmq_frames_without_a_copy_and_its_refusals():
    context = zmq.Context.instance()
    with context.socket(zmq.PAIR) as a, context.socket(zmq.PAIR) as b:
        a.bind("inproc://decode-test")
        b.connect("inproc://decode-test")
        storage = z.DataStorage.from_dict({"a": 1, "g": {"s": "x"}})
        for obj in (sample_frame(), z.Variant(7, "uint16"), storage, None):
            a.send_multipart(z.encode("topic", obj, sequence=3, send_time=11, sender=12), copy=False)
            parts = b.recv_multipart(copy=False)
            message = z.decode(parts)
            assert (message.topic, message.sequence, message.send_time, message.sender) == ("topic", 3, 11, 12)
            if obj is None:
                assert message.kind == z.MessageKind.end and message.payload is None
            elif isinstance(obj, z.Frame):
                image = message.frame.image
                assert message.kind == z.MessageKind.frame and np.array_equal(image, obj.image)
                assert np.shares_memory(image, np.frombuffer(parts[4], np.uint8))
                assert message.frame.metadata["gain"].value == 2.5
                del message, parts
                assert image[2, 3] == 11  # the array keeps the message's buffer alive
            else:
                assert message.payload == obj
    with pytest.raises(z.Error, match=r"^Message format version 7 is not supported by this reader \(version 1\)$"):
        z.decode([b"t", HEADER.pack(b"ZRVO", 7, 1, 0, 0, 0, 0), b"int32", bytes(4)])
    with pytest.raises(TypeError):
        z.decode([b"t", None])


def test_publish_subscribe_push_pull_and_the_counters():
    publisher, subscriber = z.Publisher(), z.Subscriber(["cam"])
    subscriber.connect(publisher.bind(ANY_PORT))
    assert publisher.wait_for_subscriber(10)
    publisher.send("other", z.Variant(0, "int32"))  # not subscribed
    for i in range(3):
        publisher.send("cam", z.Frame(np.full((2, 2), i, np.uint8)))
    first = subscriber.receive(10)
    assert first.sequence == 0 and first.frame.image[0, 0] == 0
    latest = subscriber.receive_latest(10)
    if latest.sequence == 1:  # the last one was still on its way
        latest = subscriber.receive_latest(10)
    assert latest.sequence == 2 and latest.frame.image[1, 1] == 2
    stats = subscriber.stats()
    assert (stats.received, stats.dropped, stats.malformed, stats.restarts) == (3, 0, 0, 0)
    assert subscriber.receive(0) is None
    with pytest.raises(ValueError, match="timeout is None or a number of seconds >= 0"):
        subscriber.receive(-1)

    pusher, puller = z.Pusher(send_timeout=0.2), z.Puller(receive_high_water_mark=10)
    puller.connect(pusher.bind(ANY_PORT))
    pusher.send("job", z.DataStorage.from_dict({"n": 1}))
    pusher.send_end("job")
    assert puller.receive(10).storage["n"].value == 1 and puller.receive(10).kind == z.MessageKind.end


def test_receive_releases_the_gil_while_it_waits():
    subscriber = z.Subscriber()
    subscriber.bind(ANY_PORT)
    ticks = []
    ticker = threading.Thread(target=lambda: [ticks.append(time.sleep(0.005)) for _ in range(20)])
    ticker.start()
    assert subscriber.receive(1.0) is None
    ticked = len(ticks)  # with the GIL held it could tick only between the 100 ms slices
    ticker.join(5)
    assert ticked == 20


def test_curve_right_key_receives_wrong_key_nothing():
    server = z.KeyPair.generate()
    assert len(server.public_key) == len(server.secret_key) == 40
    publisher = z.Publisher(server_key=server)
    endpoint = publisher.bind(ANY_PORT)
    right, wrong = (z.Subscriber(server_public_key=key) for key in (server.public_key, z.KeyPair.generate().public_key))
    right.connect(endpoint)
    wrong.connect(endpoint)
    assert publisher.wait_for_subscriber(10)  # the right one: the wrong one never gets through
    publisher.send("t", z.Variant(5, "int32"))
    assert right.receive(10).value.value == 5 and wrong.receive(0.3) is None


@needs_inspect
def test_cpp_sends_python_receives(tmp_path):
    subscriber = z.Subscriber(["temp"])
    endpoint = "ipc://%s/send" % tmp_path
    subscriber.connect(endpoint)
    code, out, err = finished(inspect("send", "@" + endpoint, "temperature", "double", "21.5", "--wait", "10"))
    message = subscriber.receive(10)
    assert (code, out, err) == (0, "sent temperature value double 21.5\n", "")
    assert (message.topic, message.kind, message.sequence, message.value.type_name, message.value.value) == (
        "temperature", z.MessageKind.value, 0, "double", 21.5)


@needs_inspect
def test_python_publishes_cpp_listens():
    publisher = z.Publisher()
    listener = inspect("listen", publisher.bind(ANY_PORT), "--count", "3", "--json")
    assert publisher.wait_for_subscriber(10)
    publisher.send("v", z.Variant("hé", "string"))
    publisher.send("s", z.DataStorage.from_dict({"n": 3}))
    publisher.send("f", z.Frame(np.ones((1, 2, 3), np.uint8), {"gain": 1.5}))
    code, out, err = finished(listener)
    lines = [json.loads(line) for line in out.splitlines()]
    assert (code, err, len(lines)) == (0, "", 4)
    assert [(m["topic"], m["sequence"], m["kind"]) for m in lines[:3]] == [("v", 0, "value"), ("s", 0, "storage"),
                                                                         ("f", 0, "frame")]
    assert lines[0]["sender"] == "%016x" % publisher.sender_id and lines[0]["value"] == "hé"
    assert lines[1]["value"] == {"n": 3} and lines[2]["metadata"] == {"gain": 1.5}
    assert lines[2]["image"]["dtype"] == "uint8" and lines[2]["image"]["pixels"] == [[[1, 1, 1], [1, 1, 1]]]
    assert lines[3] == {"stats": {"received": 3, "dropped": 0, "malformed": 0, "restarts": 0}}


@needs_inspect
def test_cpp_pulls_its_share_of_a_pipeline():
    pusher = z.Pusher(send_timeout=10)  # a send waits for the puller: nothing is lost
    listener = inspect("listen", pusher.bind(ANY_PORT), "--pull", "--count", "2")
    pusher.send("job", z.Variant(1, "uint8"))
    pusher.send_end("job")
    code, out, err = finished(listener)
    first, end, counters = out.splitlines()
    assert (code, err, counters) == (0, "", "received 2, dropped 0, malformed 0, restarts 0")
    assert first.split(" ")[:2] + first.split(" ")[3:] == ["job", "#0", "value", "uint8", "1"]
    assert end.split(" ")[:2] + end.split(" ")[3:] == ["job", "#1", "end", "of", "stream"]


def test_raw_pyzmq_reads_a_frame_by_the_table():
    publisher = z.Publisher()
    raw = zmq.Context.instance().socket(zmq.SUB)
    raw.setsockopt(zmq.SUBSCRIBE, b"")
    raw.connect(publisher.bind(ANY_PORT))
    assert publisher.wait_for_subscriber(10)
    pixels = np.arange(24, dtype=np.float32).reshape(2, 4, 3)
    publisher.send("cam/1", z.Frame(pixels, {"exposure": z.Variant(250, "int32")}))
    assert raw.poll(10000)
    topic, header, metadata, matrix, data = raw.recv_multipart()
    magic, version, kind, _, sequence, sent, sender = HEADER.unpack(header)
    assert (topic, magic, version, kind, sequence, sender) == (b"cam/1", b"ZRVO", 1, 3, 0, publisher.sender_id)
    assert abs(sent - time.time_ns()) < 60e9
    count, key_length = struct.unpack_from("<QI", metadata)
    key, type_length = struct.unpack_from("<%dsI" % key_length, metadata, 12)
    type_name, exposure = struct.unpack_from("<%dsi" % type_length, metadata, 16 + key_length)
    assert (count, key, type_name, exposure) == (1, b"exposure", b"int32", 250)
    dims = struct.unpack_from("<I", matrix)[0]
    sizes = struct.unpack_from("<%di" % dims, matrix, 4)
    depth, channels, element = struct.unpack_from("<III", matrix, 4 + 4 * dims)
    assert (dims, sizes, depth, channels, element, len(matrix)) == (2, (2, 4), 5, 3, 4, 16 + 4 * dims)
    image = np.frombuffer(data, "<f4").reshape(*sizes, channels)
    assert np.array_equal(image, pixels)
    raw.close()


@needs_inspect
def test_cpp_listener_takes_a_message_encoded_by_hand_and_counts_a_bad_one():
    raw = zmq.Context.instance().socket(zmq.XPUB)
    raw.bind(ANY_PORT)
    listener = inspect("listen", raw.getsockopt(zmq.LAST_ENDPOINT).decode(), "hand", "--count", "1", "--json")
    assert raw.poll(10000) and raw.recv() == b"\x01hand"  # its subscription
    raw.send_multipart([b"hand", HEADER.pack(b"ZRVO", 2, 1, 0, 0, 0, 0), b"int32", b"\x01\x00\x00\x00"])
    raw.send_multipart([b"hand", HEADER.pack(b"ZRVO", 1, 1, 0, 41, 1000000000, 77), b"int32", struct.pack("<i", -5)])
    code, out, err = finished(listener)
    assert (code, err) == (0, "")
    assert [json.loads(line) for line in out.splitlines()] == [
        {"topic": "hand", "sequence": 41, "sendTime": 1000000000, "sender": "000000000000004d", "kind": "value",
         "type": "int32", "value": -5},
        {"stats": {"received": 1, "dropped": 0, "malformed": 1, "restarts": 0}}]
    raw.close()


def test_readme_streams_session_runs(capsys):
    readme = os.environ.get("ZARVO_README", os.path.join(os.path.dirname(__file__), "..", "..", "README.md"))
    section = open(readme, encoding="utf-8").read().split("\n### Streams from Python and the command line\n")[1]
    block = section.split("```python\n", 1)[1].split("```", 1)[0]
    exec(compile(block, "README.md", "exec"), {})
    assert capsys.readouterr().out == "camera/0 0 (480, 640) Stats(received=1, dropped=0, malformed=0, restarts=0)\n"
