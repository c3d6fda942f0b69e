// SPDX-License-Identifier: Apache-2.0
/// Scope-bound ownership of scratch objects.
///
/// An operation declares a GarbageList and passes it every scratch Image, Mask and segment array right after making it.
/// It may then leave by any return or exception, and the destructor of the list frees them all. Only one thread at a
/// time may use an object.
#pragma once

#include <norvane/export.h>

#include <vector>

namespace Norvane {

/// Base of the objects that a GarbageList can own. `garbage` says whether the object may be freed.
class NORVANE_API GarbageItem {
public:
    GarbageItem() = default;
    GarbageItem(const GarbageItem&) = default;
    GarbageItem& operator=(const GarbageItem&) = default;
    virtual ~GarbageItem();

    /// Releases what the object holds. The base holds nothing.
    virtual void Clear();

    /// If the flag is cleared, a list does not free the object, and whoever holds a pointer to it owns it.
    void SetGarbage(bool value) { garbage = value; }
    [[nodiscard]] bool GetGarbage() const { return garbage; }

    /// If its flag allows it, clears and deletes the object. The object must have been made with new.
    void Shred();

protected:
    bool garbage = true;
};

/// Owns scratch objects for the length of a scope. It cannot be copied, because each object must be freed once.
class NORVANE_API GarbageList {
public:
    GarbageList() = default;
    GarbageList(const GarbageList&) = delete;
    GarbageList& operator=(const GarbageList&) = delete;

    /// Frees the items in the order in which they were added (Clear, then delete), then the general blocks (array
    /// delete). An item whose flag is cleared is not freed.
    ~GarbageList();

    /// Takes over `item`, which must have been made with new. Null is ignored. Adding an object twice is an error.
    void AddItem(GarbageItem* item);

    /// Takes over `block`, which must have been made with array new of a trivial type, such as the array from
    /// Mask::GetSegments(). Null is ignored.
    void AddGeneralItem(void* block);

private:
    std::vector<GarbageItem*> items;
    std::vector<void*> generalItems;
};

/// An empty base of Image and Mask. It only keeps its place in their list of bases.
class NORVANE_API LeaksFinder {};

}  // namespace Norvane
