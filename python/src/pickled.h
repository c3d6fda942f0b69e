// SPDX-License-Identifier: Apache-2.0
/// How prepared images, sources and analyses are pickled.
#pragma once

#include <pybind11/pybind11.h>

#include <memory>

namespace Norvane::Python {

/// The state of a value: the version of this module, and the members of its records as nested tuples. Defined for
/// WorkingImage, Host::SourceImage and Host::Findings.
template <class Value>
[[nodiscard]] pybind11::tuple state_of(const Value& value);

/// The value of such a state. Raises ValueError if another version made the state, because its records may differ.
template <class Value>
[[nodiscard]] std::shared_ptr<Value> from_state(const pybind11::tuple& state);

}  // namespace Norvane::Python
