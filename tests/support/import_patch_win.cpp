#include "support/import_patch_win.h"

#include <windows.h>

#include <cstdint>
#include <cstdlib>
#include <iostream>
#include <string_view>

namespace k7k::test {

namespace {

template <class Record>
Record* InProgram(std::uintptr_t offset) {
  return reinterpret_cast<Record*>(reinterpret_cast<std::uintptr_t>(::GetModuleHandleW(nullptr)) +
                                   offset);
}

// Where the program keeps the address of an imported function ("PE Format", the import tables).
ULONG_PTR* ImportedAddress(std::string_view name) {
  const auto* headers = InProgram<IMAGE_NT_HEADERS>(
      static_cast<std::uintptr_t>(InProgram<IMAGE_DOS_HEADER>(0)->e_lfanew));
  const DWORD imports =
      headers->OptionalHeader.DataDirectory[IMAGE_DIRECTORY_ENTRY_IMPORT].VirtualAddress;
  for (auto* library = InProgram<IMAGE_IMPORT_DESCRIPTOR>(imports); library->Name != 0; ++library) {
    auto* names = InProgram<IMAGE_THUNK_DATA>(library->OriginalFirstThunk);
    auto* addresses = InProgram<IMAGE_THUNK_DATA>(library->FirstThunk);
    for (; names->u1.AddressOfData != 0; ++names, ++addresses) {
      if (IMAGE_SNAP_BY_ORDINAL(names->u1.Ordinal)) continue;
      const auto* entry = InProgram<IMAGE_IMPORT_BY_NAME>(names->u1.AddressOfData);
      if (name == reinterpret_cast<const char*>(entry->Name)) return &addresses->u1.Function;
    }
  }
  // A test whose condition does not come about would mean nothing.
  std::cerr << "the test program does not import " << name << "\n";
  std::abort();
}

}  // namespace

void* ExchangeImport(const char* name, void* function) {
  ULONG_PTR* const address = ImportedAddress(name);
  DWORD protection = 0;
  ::VirtualProtect(address, sizeof(*address), PAGE_READWRITE, &protection);
  const ULONG_PTR previous = std::exchange(*address, reinterpret_cast<ULONG_PTR>(function));
  ::VirtualProtect(address, sizeof(*address), protection, &protection);
  return reinterpret_cast<void*>(previous);
}

}  // namespace k7k::test
