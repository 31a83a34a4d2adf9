// Makes the test process look like a host whose toolkit scales what it is
// told: the toolkit's library loaded (for good: GTK cannot be unloaded) and
// its variable set until the end of the scope.
#pragma once

#include <dlfcn.h>

#include <cstdlib>
#include <initializer_list>

namespace korro::test {

inline bool libraryLoaded(const char* library) {
  void* handle = dlopen(library, RTLD_LAZY | RTLD_NOLOAD);
  if (handle) dlclose(handle);
  return handle != nullptr;
}

struct HostToolkit {
  // The first of `libraries` that loads.
  HostToolkit(std::initializer_list<const char*> libraries, const char* variable, const char* value)
      : variable_(variable) {
    for (const char* library : libraries)
      if (!loaded) loaded = dlopen(library, RTLD_LAZY | RTLD_LOCAL) != nullptr;
    setenv(variable, value, 1);
  }
  ~HostToolkit() { unsetenv(variable_); }
  HostToolkit(const HostToolkit&) = delete;
  HostToolkit& operator=(const HostToolkit&) = delete;

  static constexpr const char* kGtk3 = "libgtk-3.so.0";
  bool loaded = false;

 private:
  const char* variable_;
};

}  // namespace korro::test
