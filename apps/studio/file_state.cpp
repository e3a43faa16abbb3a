#include "studio/file_state.h"

#include <QFileInfo>

#include "studio/widgets/pixels.h"

namespace kestrova::studio {

FileState stateOf(const std::string& path) {
    const QFileInfo info(fileName(path));
    if (!info.exists()) return {};
    return {info.size(), info.lastModified()};
}

}  // namespace kestrova::studio
