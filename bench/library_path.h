// Which of the libraries of one soname this process has loaded.
#ifndef BENCH_LIBRARY_PATH_H_
#define BENCH_LIBRARY_PATH_H_

#include <dlfcn.h>
#include <link.h>

#include <stdexcept>
#include <string>

inline std::string LibraryPath() {
  void* library = dlopen("libZorvikPBProto.so.2", RTLD_NOW | RTLD_NOLOAD);
  link_map* map = nullptr;
  if (library == nullptr || dlinfo(library, RTLD_DI_LINKMAP, &map) != 0) {
    throw std::runtime_error(dlerror());
  }
  const std::string path = map->l_name;
  dlclose(library);
  return path;
}

#endif  // BENCH_LIBRARY_PATH_H_
