# SPDX-License-Identifier: Apache-2.0
"""Does runs of ``norvane masks`` one image at a time, for runners that distribute the images.

This module is private to packages of this project and may change with any version. A runner creates a Run and
distributes its inputs. It calls make() for each input, in any process and any order, and passes the records to finish()
in the order of the inputs::

    run = Run(["archive/"], out_dir="results", resume=True, view="mlo", pixel_size=70)
    records = [run.make(one) for one in run.inputs]
    run.finish(records)

The results, their stamps and the rules of ``--resume`` are the same as those of the program, and so are summary.csv,
summary.ndjson and report.html.
"""
import os
import uuid
from typing import Any, Dict, Iterable, List, NamedTuple, Optional, Sequence, Tuple

from . import _norvane

Record = Dict[str, Any]  # a row of summary.ndjson


class Option(NamedTuple):
    """An option of ``norvane masks``. Its keyword has underscores instead of dashes."""

    name: str  #: without the dashes
    letter: str  #: the short name without its dash, or empty
    is_flag: bool  #: its value is True or False
    is_two_way: bool  #: a flag that False switches off; for other flags, False has no effect
    value: str  #: the placeholder of the value in help texts
    help: str


OPTIONS = {fields[0].replace("-", "_"): Option(*fields) for fields in _norvane.run_options}

_CALLED_IN_PYTHON = {"inverted": "invert"}  # as prepare() and analyse() call it


def _texts_of(value: Any) -> List[bytes]:
    """The value, or several values, as they would be written on the command line."""
    if isinstance(value, (list, tuple)):
        return [text for one in value for text in _texts_of(one)]
    if isinstance(value, bool):
        return [b"true" if value else b"false"]
    if isinstance(value, float):  # the stamps of results must have 228, not 228.0
        return [repr(value).removesuffix(".0").encode()]
    return [os.fsencode(value if isinstance(value, (str, bytes, os.PathLike)) else str(value))]


def _given(given_options: Dict[str, Any]) -> Dict[str, List[bytes]]:
    """Raises TypeError if a name is not that of an option."""
    options = {_CALLED_IN_PYTHON.get(name, name): value for name, value in given_options.items()}
    unknown = sorted(set(options) - set(OPTIONS))
    if unknown:
        raise TypeError(f"{', '.join(unknown)}: no such option; there are {', '.join(sorted(OPTIONS))}")
    given = {}
    for keyword, value in options.items():
        option = OPTIONS[keyword]
        if option.is_flag and not isinstance(value, (bool, type(None))):
            raise TypeError(f"{keyword}: expected True or False, got {value!r}")
        if value is not None and (value is not False or option.is_two_way):
            given[option.name] = _texts_of(value)
    return given


class Input(NamedTuple):
    """An image of a run."""

    file: str  #: as the user named it, or as the walk found it
    base: str  #: the results keep the path below this folder; empty: results get no subfolders
    refusal: str  #: why the file need not be opened; empty if it should be
    name: str  #: the name of the results, OUT_DIR/NAME.ending
    is_named: bool  #: the user named it; False: a walk found it
    own: Dict[str, List[str]] = {}  #: options that hold for this image alone, from the manifest or --frame all


class Run:
    """A run over many images. It can be pickled. A copy knows the inputs and does not search folders again."""

    def __init__(self, inputs: Sequence[Any] = (), *, out_dir: Any, **options: Any) -> None:
        """inputs: files, and folders that are searched. options: those of ``norvane masks``, see OPTIONS.

        Raises TypeError if a name is not that of an option. Raises ValueError if a value is wrong, or if a result
        would replace an input or a file of another program. Raises norvane.Refusal if the manifest cannot be read.
        """
        given = _given({"out_dir": out_dir, **options})
        self._begin([os.fsencode(one) for one in inputs], given, None, uuid.uuid4().hex)

    def _begin(
        self, named: List[bytes], given: Dict[str, List[bytes]], found: Optional[List[Input]], key: str
    ) -> None:
        self._named, self._given, self._key = named, given, key
        self._run = _norvane.Run(named, given, found, key)
        self._inputs = [Input(*fields) for fields in self._run.inputs]

    @property
    def inputs(self) -> List[Input]:
        """The images that the run has to process: all, or those of its ``--shard``."""
        return [one for one in self._inputs if self._run.is_in_shard(one)]

    @property
    def out_dir(self) -> str:
        return self._run.out_dir

    @property
    def passed_over(self) -> int:
        """Number of files in folders that are not images or are results of earlier runs."""
        return self._run.passed_over

    def part(self, inputs: Iterable[Input]) -> "Run":
        """The run with only some of its inputs, for another process."""
        return _copy_of(self._named, self._given, list(inputs), self._key)

    def take_over_dead_runs(self) -> None:
        """Removes the files of processes that died while they worked on this folder, and marks the images that they
        were processing. After two deaths, make() refuses an image if the run has ``--resume``."""
        self._run.take_over_dead_runs()

    def pardon(self) -> None:
        """Call this before the other processes of this run are ended: then no image will count as one during which they
        died."""
        self._run.pardon()

    def make(self, one: Tuple[Any, ...]) -> Optional[Record]:
        """Processes one image, from its file to its results, which appear all at once.

        Returns its row of summary.ndjson. ``refusal`` says what went wrong, and ``kept`` is true if the results come
        from an earlier run. Returns None if a walk found the file and it turned out not to be an image. Problems of an
        image raise nothing. The interpreter lock is released, and any number of threads may call it at the same time.
        """
        return self._run.make(tuple(one))

    def finish(
        self, records: Iterable[Optional[Record]], not_finished: int = 0
    ) -> Tuple[List[str], List[str]]:
        """Writes the tables and the page of the run from the records, which must be in the order of the inputs.

        not_finished: number of images that are left if the run ended early.

        Returns a sentence for each file that could not be written, and the closing lines of the program. If results of
        earlier runs hold identifiers that this run does not read, the last line says so.
        """
        made = list(records)
        images = [record for record in made if record is not None]
        try:
            return self._run.finish(images, not_finished, self.passed_over + len(made) - len(images))
        finally:
            self.close()

    def close(self) -> None:
        """Removes the files that this process keeps for the run in the folder of the results; make() makes new ones."""
        self._run.close()

    def __reduce__(self) -> Tuple[Any, ...]:
        return _copy_of, (self._named, self._given, self._inputs, self._key)


def _copy_of(named: List[bytes], given: Dict[str, List[bytes]], found: List[Input], key: str) -> Run:
    """The run, or a part of it, in another process. It has the same key and does not search folders again."""
    run = Run.__new__(Run)
    run._begin(named, given, found, key)
    return run
