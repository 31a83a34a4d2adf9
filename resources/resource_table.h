// The skin pictures built into the module, looked up by resource number.
#pragma once

#include <cstddef>

namespace korro::resources {

struct Resource {
  int id;
  const unsigned char* data;
  std::size_t size;
};

// Null when the module has no resource with this number.
const Resource* find(int id);

}  // namespace korro::resources
