# SPDX-License-Identifier: Apache-2.0
"""Checks arguments. Errors say which argument it is, what was expected and what came."""
import numbers
import operator
import os
from typing import Any, Mapping, Type, TypeVar, Union

import numpy as np

PathLike = Union[str, bytes, "os.PathLike[str]", "os.PathLike[bytes]"]
Member = TypeVar("Member", bound=int)


def truth(name: str, value: Any) -> bool:
    if not isinstance(value, (bool, np.bool_)):
        raise TypeError(f"{name}: expected a truth value, got {value!r}")
    return bool(value)


def whole(name: str, value: Any, least: int, most: int) -> int:
    number = _index(name, "int", value)
    if not least <= number <= most:
        raise ValueError(f"{name}: expected {least} to {most}, got {number}")
    return number


def number(name: str, value: Any, least: float, most: float) -> float:
    if not isinstance(value, numbers.Real):
        raise TypeError(f"{name}: expected a number, got {value!r}")
    if not least <= float(value) <= most:
        raise ValueError(f"{name}: expected {least} to {most}, got {value}")
    return float(value)


def member(name: str, kind: Type[Member], value: Any) -> Member:
    """A member of an enumeration, which may be given as its number."""
    number = _index(name, kind.__name__, value)
    try:
        return kind(number)
    except ValueError:
        names = ", ".join(one.name for one in kind)  # type: ignore[attr-defined]
        raise ValueError(f"{name}: expected one of {names}, got {value!r}") from None


def word(name: str, value: Any, words: Mapping[str, Member]) -> Member:
    """What a word stands for."""
    if not isinstance(value, str):
        raise TypeError(f"{name}: expected one of {', '.join(words)}, got {value!r}")
    if value.lower() not in words:
        raise ValueError(f"{name}: expected one of {', '.join(words)}, got {value!r}")
    return words[value.lower()]


def file_name(name: str, value: Any, expected: str = "a path") -> bytes:
    if not isinstance(value, (str, bytes, os.PathLike)):
        raise TypeError(f"{name}: expected {expected}, got {type(value).__name__}")
    return os.fsencode(value)


def _index(name: str, expected: str, value: Any) -> int:
    try:
        return operator.index(value)
    except TypeError:
        raise TypeError(f"{name}: expected {expected}, got {value!r}") from None
