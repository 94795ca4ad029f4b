"""The Dask batch example on a small folder and an in-process cluster."""
import csv
import importlib.util

import pytest

from conftest import SOURCE_DIR

pytest.importorskip("dask.bag", reason="python3-dask is not installed")
pytest.importorskip("distributed", reason="python3-distributed is not installed")


def test_batch_writes_one_sorted_row_per_file(tmp_path):
    module_spec = importlib.util.spec_from_file_location("batch_dask", SOURCE_DIR / "python" / "examples" / "batch_dask.py")
    batch = importlib.util.module_from_spec(module_spec)
    module_spec.loader.exec_module(batch)
    folder = tmp_path / "drawings"
    (folder / "sub").mkdir(parents=True)
    (folder / "b.svg").write_text('<svg xmlns="http://www.w3.org/2000/svg"><rect x="1" y="2" width="3" height="4"/>'
                                  '<title>dropped</title></svg>')
    (folder / "sub" / "a.svg").write_text('<svg xmlns="http://www.w3.org/2000/svg"><circle r="1" fill="none"/></svg>')
    (folder / "c.svg").write_text("not a drawing")
    rows, _ = batch.run(folder, tmp_path / "summary.csv", workers=2, processes=False)
    with open(tmp_path / "summary.csv", newline="") as table:
        written = list(csv.DictReader(table))
    assert [row["file"] for row in written] == [str(folder / "b.svg"), str(folder / "c.svg"), str(folder / "sub" / "a.svg")]
    b, c, a = written
    assert (b["ok"], b["changes"], b["primitives"], b["fill_area"], b["max_x"], b["max_y"]) == ("True", "1", "1", "12.0", "4.0", "6.0")
    assert (c["ok"], c["error"]) == ("False", f"File '{folder / 'c.svg'}' is not an SVG file: its content does not start with '<'")
    assert (a["ok"], a["triangles"], a["fill_area"]) == ("True", "0", "0.0")
