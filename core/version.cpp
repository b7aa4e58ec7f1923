// The version record.
#include "zelsr/core/memory.h"

namespace {
constexpr SrLibVersion kVersion = {5, 2, 108, 385, {'q', '4'}, "libzelsrq4.so.5.2", "5.2", "Jul 11 2007"};
}

const SrLibVersion* zelsrGetLibVersion() { return &kVersion; }
