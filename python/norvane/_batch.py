# SPDX-License-Identifier: Apache-2.0
"""Runs over many images, one image at a time: what ``norvane masks`` does, for runners that spread the images.

Private to packages of this project; it may change with any version. A runner makes a Run from the arguments of
``norvane masks``, hands its inputs out, calls make() for each, in whatever process or order, and gives the records to
finish() in the order of the inputs::

    run = Run(["archive/", "--out-dir", "results", "--resume"])
    records = [run.make(one) for one in run.inputs]
    run.finish(records)

The results, with their stamps and the rules of ``--resume``, are those of the program, and so are summary.csv,
summary.ndjson and report.html. ``--jobs`` and ``--format`` mean nothing here.
"""
import functools
import os
import uuid
from typing import Any, Dict, Iterable, List, NamedTuple, Optional, Sequence, Tuple

from . import _norvane

Record = Dict[str, Any]  # a row of summary.ndjson


class Input(NamedTuple):
    """An image of a run."""

    file: str  #: as it was named, or as the walk found it
    base: str  #: folder whose structure the results keep; empty: the results lie side by side
    refusal: str  #: why it is no use to open it; else empty
    name: str  #: of the results: OUT_DIR/NAME.ending
    is_named: bool  #: by the user; otherwise a walk found it


class Run:
    """A run over many images. It may be pickled: a copy knows the inputs and looks into no folder."""

    def __init__(
        self,
        arguments: Sequence[str],
        inputs: Optional[Iterable[Tuple[Any, ...]]] = None,
        *,
        takes_manifest: bool = False,
        key: str = "",
    ) -> None:
        """arguments: what follows ``norvane masks``. inputs: those of the run, where they are known from another
        process. takes_manifest: the one argument that is no option is a list of inputs, unless it is a folder. key: the
        same in all processes of the run.

        Raises ValueError with the program's complaint for arguments that are none, and if a result would replace an
        input or a file that is no result; norvane.Refusal if the manifest cannot be read.
        """
        self._arguments = [os.fspath(argument) for argument in arguments]
        given = None if inputs is None else [tuple(one) for one in inputs]
        self._takes_manifest = takes_manifest
        self._key = key or uuid.uuid4().hex
        self._run = _norvane.Run([os.fsencode(one) for one in self._arguments], given, takes_manifest, self._key)
        self._inputs = [Input(*fields) for fields in self._run.inputs]

    @property
    def inputs(self) -> List[Input]:
        """Those that the run is to make: all, or those of its ``--shard``."""
        return [one for one in self._inputs if self._run.is_in_shard(one)]

    @property
    def passed_over(self) -> int:
        """Files in folders that are no images, or results of earlier runs."""
        return self._run.passed_over

    def part(self, inputs: Iterable[Input]) -> "Run":
        """Some of the inputs, for another process."""
        return Run(self._arguments, inputs, takes_manifest=self._takes_manifest, key=self._key)

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

    def finish(self, records: Iterable[Optional[Record]]) -> List[str]:
        """Writes the tables and the page of the run from the records, in the order of the inputs.

        Returns a sentence for each file that could not be written.
        """
        try:
            return self._run.write_run_files([record for record in records if record is not None])
        finally:
            self.close()

    def close(self) -> None:
        """Removes what this process keeps for the run in the folder of the results; make() brings it back."""
        self._run.close()

    def __reduce__(self) -> Tuple[Any, ...]:
        inputs = [tuple(one) for one in self._inputs]
        return functools.partial(Run, takes_manifest=self._takes_manifest, key=self._key), (self._arguments, inputs)
