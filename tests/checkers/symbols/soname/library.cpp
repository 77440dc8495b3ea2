// Linked under a name that does not change with the binary interface.
namespace QVFoundation {
int answer() { return 42; }
}  // namespace QVFoundation
