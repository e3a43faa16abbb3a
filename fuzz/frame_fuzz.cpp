#include <cstring>

#include "fuzz/support/scene.h"
#include "fuzz/support/start.h"
#include "kestrova/kestrova.h"

namespace {

int lastTold = 0;

bool hear(int progress, void*) {
    lastTold = progress;
    return progress % 3 != 0;
}

void progress(Input& input) {
    int user = 0;
    TProgress progress(input.flag() ? &hear : nullptr, input.flag() ? &user : nullptr);
    for (int i = input.below(64); i > 0; --i) {
        const int value = input.number(), total = input.number();
        const float weight = input.real();
        switch (input.below(6)) {
            case 0: progress.start(weight); break;
            case 1: progress.prog(); break;
            case 2: progress.prog(value, total); break;
            case 3: outcomeOf([&] { progress.end(); }, {false, false, true}); break;
            case 4: progress.done(); break;
            default: progress.reset();
        }
    }
}

void geometry(Input& input) {
    const TSize size(input.number(), input.number());
    const TRect rect(TPoint(input.number(), input.number()), size);
    if (rect.size() != size || !(TRect(rect.x, rect.y, rect.width, rect.height) == rect)) finding("TRect");
    if (size.isEmpty() != (size.width < 1 || size.height < 1)) finding("isEmpty");
    TUpdateRect update;
    update.setChanged(rect);
    update.setChanged();
    if (!(update.rect() == rect)) finding("TUpdateRect");
}

void trace(Input& input) {
    std::string where, message;
    for (int i = input.byte(); i > 0; --i) where += static_cast<char>(1 + input.below(255));
    for (int i = input.byte() * 2; i > 0; --i) message += static_cast<char>(1 + input.below(255));
    const std::string text = Kestrova::traceMsg(where.data(), input.number(), message.c_str());
    if (text.find(message) == std::string::npos) finding("traceMsg");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    Input input(data, size);
    for (int calls = 0; calls < 4 && input.more(); ++calls) {
        switch (input.below(3)) {
            case 0: progress(input); break;
            case 1: geometry(input); break;
            default: trace(input);
        }
    }
    return 0;
}
