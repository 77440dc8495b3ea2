// Another library's type in the signature of an exported function.
namespace nlohmann {
class json;
}

namespace QVFoundation {
int size(const nlohmann::json&) { return 0; }
}  // namespace QVFoundation
