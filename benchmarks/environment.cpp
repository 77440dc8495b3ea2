// A text in the user's language from a table that is loaded, filled; one setting read.

#include "QVFoundation/Environment.h"

#include <clocale>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <libintl.h>
#include <string>

#include <benchmark/benchmark.h>

#include "QVFoundation/Platform.h"

#ifdef QV_PEER_QT
#include <QtCore/QSettings>
#endif

namespace {

using namespace QVFoundation;

constexpr int entries = 500;

/// A folder that goes at the end.
class Folder {
public:
  Folder() {
    std::string name = (std::filesystem::temp_directory_path() / "bench-XXXXXX").string();
    if (mkdtemp(name.data()) == nullptr) std::abort();
    path_ = name;
  }
  Folder(const Folder&) = delete;
  Folder& operator=(const Folder&) = delete;
  ~Folder() { std::filesystem::remove_all(path_); }
  const std::filesystem::path& path() const { return path_; }

private:
  std::filesystem::path path_;
};

/// The same texts in a string table and in a catalogue, and settings, in files.
class Surroundings {
public:
  static const Surroundings& instance() {
    static const Surroundings surroundings;
    return surroundings;
  }
  bool hasCatalogue() const { return hasCatalogue_; }
  const std::shared_ptr<NSUserDefaults>& defaults() const { return defaults_; }
  std::string settingsFile() const { return (folder_.path() / "settings.ini").string(); }

private:
  Surroundings() {
    setenv("LC_ALL", "de_DE.UTF-8", 1);
    setenv("LANGUAGE", "de", 1);
    setenv("QV_BUNDLE_PATH", folder_.path().c_str(), 1);
    setenv("XDG_CONFIG_HOME", folder_.path().c_str(), 1);
    setlocale(LC_ALL, "C.UTF-8");
    writeTexts();
    defaults_ = NSUserDefaults::defaultsWithSuiteName("bench");
    std::ofstream settings(settingsFile());
    settings << "[General]\n";
    for (int i = 0; i < entries; ++i) {
      settings << "setting" << i << '=' << i << '\n';
      defaults_->setObject(i, "setting" + std::to_string(i));
    }
    defaults_->synchronize();
  }

  void writeTexts() {
    const auto catalogue = folder_.path() / "de/LC_MESSAGES/texts.mo";
    std::filesystem::create_directories(folder_.path() / "de.lproj");
    std::filesystem::create_directories(catalogue.parent_path());
    std::ofstream table(folder_.path() / "de.lproj/Localizable.strings");
    std::ofstream source(folder_.path() / "texts.po");
    source << "msgid \"\"\nmsgstr \"Content-Type: text/plain; charset=UTF-8\\n\"\n";
    for (int i = 0; i < entries; ++i) {
      const std::string number = std::to_string(i);
      table << "\"%d of %@ in " << number << "\" = \"%d von %@ nach " << number << "\";\n";
      source << "\nmsgid \"%d of %s in " << number << "\"\nmsgstr \"%d von %s nach " << number << "\"\n";
    }
    source.close();
    hasCatalogue_ =
        std::system(
            ("msgfmt -o " + catalogue.string() + ' ' + (folder_.path() / "texts.po").string()).c_str()) == 0;
    bindtextdomain("texts", folder_.path().c_str());
    textdomain("texts");
  }

  Folder folder_;
  bool hasCatalogue_ = false;
  std::shared_ptr<NSUserDefaults> defaults_;
};

void textOurs(benchmark::State& state) {
  std::ignore = Surroundings::instance();
  if (!QVLocalizedString("%d of %@ in 77", 3, "holiday.jpg").starts_with("3 von"))
    state.SkipWithError("no table");
  int i = 0;
  for (auto _ : state) {
    std::string text = QVLocalizedString("%d of %@ in 77", ++i, "holiday.jpg");
    benchmark::DoNotOptimize(text);
  }
}
BENCHMARK(textOurs)->Name("environment/text/ours");

void textGettext(benchmark::State& state) {
  if (!Surroundings::instance().hasCatalogue() ||
      !std::string_view(gettext("%d of %s in 77")).starts_with("%d von")) {
    state.SkipWithError("no catalogue");
  }
  int i = 0;
  for (auto _ : state) {
    char text[256];
    std::snprintf(text, sizeof text, gettext("%d of %s in 77"), ++i, "holiday.jpg");
    benchmark::DoNotOptimize(text);
  }
}
BENCHMARK(textGettext)->Name("environment/text/gettext");

void settingOurs(benchmark::State& state) {
  const auto& defaults = Surroundings::instance().defaults();
  for (auto _ : state) {
    int setting = defaults->value("setting77", 0);
    benchmark::DoNotOptimize(setting);
  }
}
BENCHMARK(settingOurs)->Name("environment/setting/ours");

#ifdef QV_PEER_QT
void settingQt(benchmark::State& state) {
  const QSettings settings(QString::fromStdString(Surroundings::instance().settingsFile()),
                           QSettings::IniFormat);
  if (settings.value("setting77").toInt() != 77) state.SkipWithError("no settings");
  for (auto _ : state) {
    int setting = settings.value(QStringLiteral("setting77"), 0).toInt();
    benchmark::DoNotOptimize(setting);
  }
}
BENCHMARK(settingQt)->Name("environment/setting/qt");
#endif

}  // namespace
