#include "codec/picture.h"
namespace zelsr::examples {
Picture::Picture(std::string title) : title_(std::move(title)), columns_(1024) {}
void Picture::add(const Frame&, const Measured&, const EnvelopeBook&) {}
std::string Picture::svg() const { return {}; }
}  // namespace zelsr::examples
