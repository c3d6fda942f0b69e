// SPDX-License-Identifier: Apache-2.0
#include <norvane/garbage_list.h>

namespace Norvane {

GarbageItem::~GarbageItem() = default;

void GarbageItem::Clear() {}

void GarbageItem::Shred() {
    if (!garbage) return;
    Clear();
    delete this;
}

GarbageList::~GarbageList() {
    for (GarbageItem* item : items) item->Shred();
    for (void* block : generalItems) delete[] static_cast<unsigned char*>(block);
}

void GarbageList::AddItem(GarbageItem* item) {
    if (item != nullptr) items.push_back(item);
}

void GarbageList::AddGeneralItem(void* block) {
    if (block != nullptr) generalItems.push_back(block);
}

}  // namespace Norvane
