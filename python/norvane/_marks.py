# SPDX-License-Identifier: Apache-2.0
"""Reads what people think of masks."""
from typing import List, NamedTuple

from . import _norvane
from ._arguments import PathLike, file_name


class Mark(NamedTuple):
    """A mark that somebody gave an image on the page of a run and exported."""

    file: str  #: as the run named it
    mark: str  #: "good", "bad" or "unsure"; empty if there is only a note
    note: str


def read_marks(table: PathLike) -> List[Mark]:
    """Reads the marks that report.html exported as a table with the columns file, mark and note.

    Raises norvane.Refusal if the table cannot be read or lacks the columns file and mark.
    """
    return [Mark(*fields) for fields in _norvane.read_marks(file_name("table", table))]
