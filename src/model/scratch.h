// SPDX-License-Identifier: Apache-2.0
/// Scratch objects that belong to a GarbageList from their first moment on.
#pragma once

#include <norvane/garbage_list.h>

#include <memory>
#include <utility>

namespace Norvane {

/// Makes a T that `list` frees. Nothing leaks when the registration itself fails.
template <class T, class... Args>
[[nodiscard]] T* make_scratch(GarbageList& list, Args&&... args) {
    auto object = std::make_unique<T>(std::forward<Args>(args)...);
    list.AddItem(object.get());
    return object.release();
}

/// Hands an object made elsewhere with new (null allowed) to `list`.
template <class T>
T* adopt_scratch(GarbageList& list, T* raw) {
    std::unique_ptr<T> object(raw);
    list.AddItem(object.get());
    return object.release();
}

}  // namespace Norvane
