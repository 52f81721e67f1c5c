# The README's Python session, run as written.
import os
import re


README = os.environ.get("ZARVO_README", os.path.join(os.path.dirname(__file__), "..", "..", "README.md"))


def test_readme_session_runs(capsys):
    text = open(README, encoding="utf-8").read()
    section = text.split("\n## From Python\n", 1)[1].split("\n## ", 1)[0]
    blocks = re.findall(r"```python\n(.*?)```", section, re.S)
    assert len(blocks) == 1
    exec(compile(blocks[0], "README.md", "exec"), {})
    assert capsys.readouterr().out == (
        "Input ends before the value does: 8589934588 more bytes needed at offset 4, 0 left\n")
