// SPDX-License-Identifier: Apache-2.0
/// Scope-bound ownership of scratch objects.
///
/// An operation declares a GarbageList, hands it every scratch Image, Mask and segment array right after making it, and
/// may then leave by any return or exception: the list's destructor frees them all. One thread at a time per object.
#pragma once

#include <norvane/export.h>

#include <vector>

namespace Norvane {

/// Base of the objects that a GarbageList can own. `garbage` tells whether the object may be freed.
class NORVANE_API GarbageItem {
public:
    GarbageItem() = default;
    GarbageItem(const GarbageItem&) = default;
    GarbageItem& operator=(const GarbageItem&) = default;
    virtual ~GarbageItem();

    /// Releases what the object holds; the base holds nothing.
    virtual void Clear();

    /// Clearing the flag hands the object back to whoever holds a pointer to it: a list then forgets it without
    /// freeing.
    void SetGarbage(bool value) { garbage = value; }
    [[nodiscard]] bool GetGarbage() const { return garbage; }

    /// Clears and deletes the object, if its flag allows it. The object must have been made with new.
    void Shred();

protected:
    bool garbage = true;
};

/// Owner of scratch objects for the length of a scope. Cannot be copied: each object must be freed once.
class NORVANE_API GarbageList {
public:
    GarbageList() = default;
    GarbageList(const GarbageList&) = delete;
    GarbageList& operator=(const GarbageList&) = delete;

    /// Frees the items in the order of their registration (Clear, then delete; an item whose flag is cleared is left
    /// alone), then the general blocks (array delete).
    ~GarbageList();

    /// Takes over `item`, which was made with new. Null is ignored; registering an object twice is an error.
    void AddItem(GarbageItem* item);

    /// Takes over `block`, which was made with array new of a trivial type, such as the array of Mask::GetSegments.
    /// Null is ignored.
    void AddGeneralItem(void* block);

private:
    std::vector<GarbageItem*> items;
    std::vector<void*> generalItems;
};

/// Empty base of Image and Mask. It keeps its place in their list of bases and does nothing.
class NORVANE_API LeaksFinder {};

}  // namespace Norvane
