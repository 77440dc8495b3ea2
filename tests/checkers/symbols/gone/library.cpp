#pragma GCC visibility push(default)
namespace QVFoundation {
void stays() {}
}  // namespace QVFoundation
