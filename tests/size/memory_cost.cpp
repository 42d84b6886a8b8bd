// Prints what it costs a process, in KiB, to load the library and then to open a store:
// memory-cost MODULE FOLDER, MODULE being what memory_cost_store.cpp makes.
// Each line: name, private dirty, proportional set.

#include <dlfcn.h>

#include <cstdlib>
#include <fstream>
#include <iostream>
#include <string>

namespace {

struct Memory {
  long privateDirty = 0;
  long proportional = 0;
};

Memory current_memory() {
  std::ifstream rollup("/proc/self/smaps_rollup");
  Memory memory;
  std::string word;
  while (rollup >> word) {
    if (word == "Private_Dirty:") rollup >> memory.privateDirty;
    if (word == "Pss:") rollup >> memory.proportional;
  }
  return memory;
}

void* load(const char* name) {
  void* const library = dlopen(name, RTLD_NOW | RTLD_GLOBAL);
  if (!library) {
    std::cerr << dlerror() << "\n";
    std::exit(1);
  }
  return library;
}

void print_cost(const char* step, Memory& before) {
  const Memory now = current_memory();
  std::cout << step << " " << now.privateDirty - before.privateDirty << " "
            << now.proportional - before.proportional << std::endl;
  before = current_memory();
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 3) return 2;
  std::cout << "step private_dirty proportional" << std::endl;
  current_memory();  // the first time costs something itself
  Memory before = current_memory();

  load("libsqlite3.so.0");
  load("libglib-2.0.so.0");
  print_cost("sqlite-and-glib", before);

  void* const module = load(argv[1]);
  print_cost("library", before);

  using OpenStore = int (*)(const char*);
  const auto openStore = reinterpret_cast<OpenStore>(dlsym(module, "open_store"));
  if (!openStore || openStore(argv[2]) != 0) return 1;
  print_cost("store", before);
  return 0;
}
