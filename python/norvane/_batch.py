# SPDX-License-Identifier: Apache-2.0
"""Runs over many images, one image at a time: what ``norvane masks`` does, for runners that spread the images.

Private to packages of this project; it may change with any version. A runner makes a Run, hands its inputs out, calls
make() for each, in whatever process or order, and gives the records to finish() in the order of the inputs::

    run = Run(["archive/"], out_dir="results", resume=True, view="mlo", pixel_size=70)
    records = [run.make(one) for one in run.inputs]
    run.finish(records)

The results, with their stamps and the rules of ``--resume``, are those of the program, and so are summary.csv,
summary.ndjson and report.html.
"""
import os
import uuid
from typing import Any, Dict, Iterable, List, NamedTuple, Optional, Sequence, Tuple

from . import _norvane

Record = Dict[str, Any]  # a row of summary.ndjson


class Option(NamedTuple):
    """An option of ``norvane masks``; its keyword has underscores for dashes."""

    name: str  #: without the dashes
    letter: str  #: empty, or the short name without its dash
    is_flag: bool  #: True or False, no text
    is_two_way: bool  #: a flag that False turns off; of others False is the same as nothing
    value: str  #: what stands for the value in texts
    help: str


OPTIONS = {fields[0].replace("-", "_"): Option(*fields) for fields in _norvane.run_options}


def _texts_of(value: Any) -> List[bytes]:
    """A value as the command line would have it, or several."""
    if isinstance(value, (list, tuple)):
        return [text for one in value for text in _texts_of(one)]
    if isinstance(value, bool):
        return [b"true" if value else b"false"]
    if isinstance(value, float):  # 228.0 is 228 to the stamps of results
        return [repr(value).removesuffix(".0").encode()]
    return [os.fsencode(value if isinstance(value, (str, bytes, os.PathLike)) else str(value))]


def _given(options: Dict[str, Any]) -> Dict[str, List[bytes]]:
    """Raises TypeError for names that are no options."""
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

    file: str  #: as it was named, or as the walk found it
    base: str  #: folder whose structure the results keep; empty: the results lie side by side
    refusal: str  #: why it is no use to open it; else empty
    name: str  #: of the results: OUT_DIR/NAME.ending
    is_named: bool  #: by the user; otherwise a walk found it
    own: Dict[str, List[str]] = {}  #: options that hold for this image alone, as the manifest or --frame all says


class Run:
    """A run over many images. It may be pickled: a copy knows the inputs and looks into no folder."""

    def __init__(self, inputs: Sequence[Any] = (), *, out_dir: Any, **options: Any) -> None:
        """inputs: files, and folders that are walked. options: those of ``norvane masks``, see OPTIONS.

        Raises TypeError for names that are no options; ValueError for values that are none, and if a result would
        replace an input or a file that is no result; norvane.Refusal if the manifest cannot be read.
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
        """Those that the run is to make: all, or those of its ``--shard``."""
        return [one for one in self._inputs if self._run.is_in_shard(one)]

    @property
    def out_dir(self) -> str:
        return self._run.out_dir

    @property
    def passed_over(self) -> int:
        """Files in folders that are no images, or results of earlier runs."""
        return self._run.passed_over

    def part(self, inputs: Iterable[Input]) -> "Run":
        """Some of the inputs, for another process."""
        return _copy_of(self._named, self._given, list(inputs), self._key)

    def take_over_dead_runs(self) -> None:
        """Removes what processes left that died at work on this folder, and marks the images that they died at: after
        two deaths make() refuses an image if the run has ``--resume``."""
        self._run.take_over_dead_runs()

    def pardon(self) -> None:
        """The other processes of this run may now be ended: no image will count as one that they died at."""
        self._run.pardon()

    def make(self, one: Tuple[Any, ...]) -> Optional[Record]:
        """One image from its file to its results, which appear all at once.

        Returns its row of summary.ndjson: ``refusal`` says what went wrong, ``kept`` that an earlier run had made the
        results. None for a file that a walk found and that turned out to be no image. Raises nothing for an image. The
        interpreter lock is released; any number of threads may call at once.
        """
        return self._run.make(tuple(one))

    def finish(
        self, records: Iterable[Optional[Record]], not_finished: int = 0
    ) -> Tuple[List[str], List[str]]:
        """Writes the tables and the page of the run from the records, in the order of the inputs.

        not_finished: images of a run that ended early.

        Returns a sentence for each file that could not be written, and the closing lines of the program.
        """
        made = list(records)
        images = [record for record in made if record is not None]
        try:
            return self._run.finish(images, not_finished, self.passed_over + len(made) - len(images))
        finally:
            self.close()

    def close(self) -> None:
        """Removes what this process keeps for the run in the folder of the results; make() brings it back."""
        self._run.close()

    def __reduce__(self) -> Tuple[Any, ...]:
        return _copy_of, (self._named, self._given, self._inputs, self._key)


def _copy_of(named: List[bytes], given: Dict[str, List[bytes]], found: List[Input], key: str) -> Run:
    """The run, or a part of it, in another process: it has the same key and looks into no folder."""
    run = Run.__new__(Run)
    run._begin(named, given, found, key)
    return run
