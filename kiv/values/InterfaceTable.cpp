#include "kiv/values/InterfaceTable.h"

#include <mutex>
#include <unordered_map>

namespace kiv::InterfaceTable {

namespace {

struct Table {
  std::mutex lock;
  std::unordered_map<uint64_t, size_t> holders;  // under lock
};

// Never destroyed: values with static lifetime may end later than any static of this library.
Table& GetTable() {
  static Table* const table = new Table;
  return *table;
}

uint64_t AddressOf(IUnknown* interface) { return reinterpret_cast<uintptr_t>(interface); }

IUnknown* ReferenceKnownLocked(uint64_t address, const Table& table) {
  if (table.holders.find(address) == table.holders.end()) return nullptr;
  auto* const interface = reinterpret_cast<IUnknown*>(static_cast<uintptr_t>(address));
  interface->AddRef();
  return interface;
}

}  // namespace

void Hold(IUnknown* interface) {
  if (!interface) return;
  Table& table = GetTable();
  const std::lock_guard guard(table.lock);
  ++table.holders[AddressOf(interface)];
  interface->AddRef();
}

IUnknown* HoldKnown(uint64_t address) {
  Table& table = GetTable();
  const std::lock_guard guard(table.lock);
  IUnknown* const interface = ReferenceKnownLocked(address, table);
  if (interface) ++table.holders[address];
  return interface;
}

void Release(IUnknown* interface) {
  if (!interface) return;
  Table& table = GetTable();
  {
    const std::lock_guard guard(table.lock);
    const auto holder = table.holders.find(AddressOf(interface));
    if (--holder->second == 0) table.holders.erase(holder);
  }
  interface->Release();
}

IUnknown* Borrow(uint64_t address) {
  Table& table = GetTable();
  const std::lock_guard guard(table.lock);
  return ReferenceKnownLocked(address, table);
}

}  // namespace kiv::InterfaceTable
