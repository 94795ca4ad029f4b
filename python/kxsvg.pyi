"""kxsvg - load, edit, save and flatten SVG drawings with libkxSvg."""
import os
from typing import Literal, Optional, Sequence, Union

import numpy as np
import numpy.typing as npt

__version__: str

Source = Union[bytes, bytearray, memoryview, str, os.PathLike]
Box = tuple[float, float, float, float]
Color = tuple[float, float, float, float]

class Error(ValueError):
    """Base of the errors of kxsvg."""
    messages: list[str]

class LoadError(Error):
    """A load or preflight failed; `messages` lists every message, in order."""

class SaveError(Error):
    """A save failed; `messages` lists the writer's messages."""

class Item:
    @property
    def kind(self) -> str: ...
    id: Optional[str]
    transform: Optional[npt.NDArray[np.float32]]
    @property
    def attributes(self) -> dict[str, Union[str, float]]: ...
    fill: Optional[str]
    stroke: Optional[str]
    class_name: Optional[str]
    opacity: Optional[float]
    fill_opacity: Optional[float]
    stroke_opacity: Optional[float]
    stroke_width: Optional[float]
    stroke_linecap: Optional[Literal["butt", "round", "square"]]
    stroke_linejoin: Optional[Literal["arcs", "bevel", "miter", "miter-clip", "round"]]

class Group(Item):
    def __init__(self) -> None: ...
    @property
    def children(self) -> list[Item]: ...
    def __len__(self) -> int: ...
    def append(self, item: Item) -> None: ...
    def insert(self, index: int, item: Item) -> None: ...
    def remove(self, item: Item) -> None: ...

class Document(Group):
    messages: Sequence[str]
    preflight_report: Optional[list[tuple[str, str, int]]]
    view_box: Optional[Box]
    style: Optional[str]
    def __init__(self) -> None: ...
    def copy(self) -> Document: ...

class Line(Item):
    def __init__(self, x1: float, y1: float, x2: float, y2: float) -> None: ...
    start: tuple[float, float]
    end: tuple[float, float]

class Rect(Item):
    def __init__(self, x: float, y: float, width: float, height: float, rx: float = 0.0, ry: float = 0.0) -> None: ...
    position: tuple[float, float]
    size: tuple[float, float]
    rx: float
    ry: float

class Circle(Item):
    def __init__(self, cx: float, cy: float, r: float) -> None: ...
    center: tuple[float, float]
    radius: float

class Path(Item):
    def __init__(self, d: Optional[str] = None) -> None: ...
    commands: list[tuple[str, tuple[float, ...]]]
    @property
    def d(self) -> str: ...

class Text(Item):
    def __init__(self, x: float, y: float, content: str) -> None: ...
    position: tuple[float, float]
    content: str
    font_family: Optional[str]
    font_size: Optional[float]

class Image(Item):
    def __init__(self) -> None: ...
    position: tuple[float, float]
    size: tuple[float, float]
    href: str

class Primitive:
    """One flattened item; its arrays share memory with it."""
    @property
    def points(self) -> npt.NDArray[np.float32]: ...           # (n, 2)
    @property
    def line_indices(self) -> npt.NDArray[np.uint32]: ...      # (m, 2)
    @property
    def triangle_points(self) -> npt.NDArray[np.float32]: ...  # (k, 2)
    @property
    def triangle_indices(self) -> npt.NDArray[np.uint32]: ...  # (t, 3)
    @property
    def stroke_points(self) -> npt.NDArray[np.float32]: ...  # (s, 2), with stroke_meshes=True
    @property
    def stroke_indices(self) -> npt.NDArray[np.uint32]: ...  # (u, 3)
    @property
    def fill_failed(self) -> bool: ...
    @property
    def fill_area(self) -> float: ...
    @property
    def kind(self) -> str: ...
    @property
    def id(self) -> Optional[str]: ...
    @property
    def world_transform(self) -> npt.NDArray[np.float32]: ...
    @property
    def has_fill(self) -> bool: ...
    @property
    def has_stroke(self) -> bool: ...
    @property
    def fill_color(self) -> Color: ...
    @property
    def stroke_color(self) -> Color: ...
    @property
    def opacity(self) -> Optional[float]: ...
    @property
    def fill_opacity(self) -> Optional[float]: ...
    @property
    def stroke_opacity(self) -> Optional[float]: ...
    @property
    def stroke_width(self) -> Optional[float]: ...

def load(source: Source, strict: bool = True, preflight: bool = False) -> Document:
    """Loads a drawing; raises LoadError with every message on failure."""

def save(item: Item, path: Optional[Union[str, os.PathLike]] = None, pretty: bool = False,
         precision: Union[None, int, Literal["shortest"]] = None, author: str = "",
         comments: bool = True) -> Optional[str]:
    """Writes SVG text: returned when `path` is None, else written to `path`."""

def preflight(source: Source, keep_ids: bool = True, keep_classes: bool = True,
              approximate_paint: bool = True,
              split_crossing_subpaths: bool = True) -> tuple[str, list[tuple[str, str, int]]]:
    """Rewrites any SVG into the subset the strict reader accepts: (text, report)."""

def bounding_box(item: Item, include_stroke: bool = False, estimated: bool = False) -> Optional[Box]:
    """(min_x, min_y, max_x, max_y) of the item and its subtree, or None."""

def segment(group: Group, preset: Literal["real_svg", "default"] = "real_svg", *,
            fill_rule: Literal["evenodd", "nonzero"] = ..., resolve_crossings: bool = ...,
            stop_at_first_failed_fill: bool = ..., cleanup_contours: bool = ...,
            bezier_max_leaves: int = ..., bezier_tolerance: float = ...,
            arc_pieces: int = ..., circle_pieces: int = ..., stroke_meshes: bool = ...,
            stroke_tolerance: float = ..., stroke_non_overlapping: bool = ...,
            stroke_percent_length: float = ...) -> list[Primitive]:
    """Flattens every drawable item below `group` into outline and fill arrays."""
