"""Where the pytest suite of the kxsvg module finds its data."""
import os
import pathlib

import pytest

SOURCE_DIR = pathlib.Path(os.environ.get("KXSVG_SOURCE_DIR", pathlib.Path(__file__).resolve().parents[2]))
TEST_DATA = SOURCE_DIR / "tests" / "data"
CORPUS = pathlib.Path(os.environ.get("KXSVG_CORPUS", SOURCE_DIR.parent / "shared" / "corpus"))


@pytest.fixture
def corpus():
    if not CORPUS.is_dir():
        pytest.skip(f"corpus not found at {CORPUS} (set KXSVG_CORPUS)")
    return CORPUS
