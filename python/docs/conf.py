# SPDX-License-Identifier: Apache-2.0
"""The reference of the Python module in HTML: python3 -m sphinx -W python/docs OUT, with norvane in PYTHONPATH."""
import inspect
import re

import norvane

project = "norvane"
copyright = "the authors of Norvane"
version = release = norvane.__version__
extensions = ["sphinx.ext.autodoc"]
autodoc_member_order = "bysource"
autodoc_typehints = "none"  # docstrings say it in words
html_theme = "alabaster"
exclude_patterns = []


def parameters_as_fields(app, what, name, documented, options, lines):
    """Docstrings list parameters as "name: text" or "name, name: text"; Sphinx has fields for them."""
    try:
        known = inspect.signature(documented).parameters
    except (TypeError, ValueError):
        return
    fields = []
    for line in lines:
        named = re.match(r"(\w+(?:, \w+)*): ", line)
        names = named.group(1).split(", ") if named else []
        if names and set(names) <= set(known):
            fields += [f":param {one}: {line[named.end():]}" for one in names]
        else:
            fields.append(line)
    lines[:] = fields


def setup(app):
    app.connect("autodoc-process-docstring", parameters_as_fields)
