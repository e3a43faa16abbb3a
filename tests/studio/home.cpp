#include "tests/studio/home.h"

#include <QTest>
#include <filesystem>

namespace kestrova::studio {

Home::Home() {
    for (const char* name : {"XDG_DATA_HOME", "XDG_CONFIG_HOME", "XDG_CACHE_HOME"})
        qputenv(name, QByteArray::fromStdString(scratch / name));
}

std::string Home::photograph(const std::string& name) {
    const std::string to = scratch / name;
    std::filesystem::copy_file(std::string(KESTROVA_PHOTOS "/") + name, to,
                               std::filesystem::copy_options::overwrite_existing);
    return to;
}

bool waitFor(const std::function<bool()>& holds, int milliseconds) { return QTest::qWaitFor(holds, milliseconds); }

}  // namespace kestrova::studio
