// The skin pictures the backends that draw into memory decode, looked up by
// resource number. Declared here, where they are used; resources/ defines the
// lookup over the table it builds from the pictures, and the build links it.
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
