// SPDX-License-Identifier: Apache-2.0
/// Scratch objects that belong to a GarbageList from the start.
#pragma once

#include <norvane/garbage_list.h>

#include <memory>
#include <utility>

namespace Norvane {

/// Makes a T that `list` frees. If adding it to the list fails, nothing leaks.
template <class T, class... Args>
[[nodiscard]] T* make_scratch(GarbageList& list, Args&&... args) {
    auto object = std::make_unique<T>(std::forward<Args>(args)...);
    list.AddItem(object.get());
    return object.release();
}

/// Passes an object that was made elsewhere with new, or null, to `list`.
template <class T>
T* adopt_scratch(GarbageList& list, T* raw) {
    std::unique_ptr<T> object(raw);
    list.AddItem(object.get());
    return object.release();
}

}  // namespace Norvane
