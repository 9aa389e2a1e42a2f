#include "kiv/values/InterfaceTable.h"

#include <mutex>
#include <unordered_map>

namespace kiv::InterfaceTable {

namespace {

struct Holders {
  IUnknown* interface = nullptr;
  size_t count = 0;
};

struct Table {
  std::mutex lock;
  std::unordered_map<uint64_t, Holders> holders;  // by address, under lock
};

// Never destroyed: values with static lifetime may end later than any static of this library.
Table& GetTable() {
  static Table* const table = new Table;
  return *table;
}

uint64_t AddressOf(IUnknown* interface) { return reinterpret_cast<uintptr_t>(interface); }

// The entry of a held interface, which has gained a reference.
Holders* ReferenceLocked(uint64_t address, Table* table) {
  const auto place = table->holders.find(address);
  if (place == table->holders.end()) return nullptr;
  place->second.interface->AddRef();
  return &place->second;
}

}  // namespace

void Hold(IUnknown* interface) {
  if (!interface) return;
  Table& table = GetTable();
  const std::lock_guard guard(table.lock);
  Holders& holders = table.holders[AddressOf(interface)];
  holders.interface = interface;
  ++holders.count;
  interface->AddRef();
}

IUnknown* HoldKnown(uint64_t address) {
  Table& table = GetTable();
  const std::lock_guard guard(table.lock);
  Holders* const holders = ReferenceLocked(address, &table);
  if (!holders) return nullptr;
  ++holders->count;
  return holders->interface;
}

void Release(IUnknown* interface) {
  if (!interface) return;
  Table& table = GetTable();
  {
    const std::lock_guard guard(table.lock);
    const auto place = table.holders.find(AddressOf(interface));
    if (--place->second.count == 0) table.holders.erase(place);
  }
  interface->Release();
}

IUnknown* Borrow(uint64_t address) {
  Table& table = GetTable();
  const std::lock_guard guard(table.lock);
  const Holders* const holders = ReferenceLocked(address, &table);
  return holders ? holders->interface : nullptr;
}

}  // namespace kiv::InterfaceTable
