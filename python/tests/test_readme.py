# The README's Python session, run as written and type-checked with the module's stubs.
import os
import re
import subprocess
import sys

README = os.environ.get("ZARVO_README", os.path.join(os.path.dirname(__file__), "..", "..", "README.md"))


def session():
    text = open(README, encoding="utf-8").read()
    section = text.split("\n## From Python\n", 1)[1].split("\n## ", 1)[0]
    blocks = re.findall(r"```python\n(.*?)```", section, re.S)
    assert len(blocks) == 1
    return blocks[0]


def test_readme_session_runs(capsys):
    exec(compile(session(), "README.md", "exec"), {})
    assert capsys.readouterr().out == (
        "Input ends before the value does: 8589934588 more bytes needed at offset 4, 0 left\n")


def test_readme_session_passes_mypy_strict(tmp_path):
    module_dir = os.environ.get("ZARVO_PYTHON_MODULE_DIR")
    if not module_dir:
        return  # the installed package: its stubs are found without help
    script = tmp_path / "readme_session.py"
    script.write_text(session())
    config = os.path.join(os.path.dirname(__file__), "mypy.ini")
    checked = subprocess.run([sys.executable, "-m", "mypy", "--strict", "--config-file", config, str(script)],
                             env=dict(os.environ, MYPYPATH=module_dir), capture_output=True, text=True, timeout=240)
    assert checked.returncode == 0, checked.stdout + checked.stderr
