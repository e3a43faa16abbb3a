#pragma once

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "studio/session.h"
#include "tests/studio/home.h"

namespace kestrova::studio {

/// A session on a fresh folder of data.
class SessionTest : public Home {
protected:
    SessionTest() { session = std::make_unique<Session>(dataFolder()); }
    void reopen() {
        const std::string path = session->path();
        session = std::make_unique<Session>(dataFolder());
        session->open(path);
    }
    std::vector<std::string> steps() const {
        std::vector<std::string> texts;
        for (int i = 0; i < session->history()->count(); ++i)
            texts.push_back(session->history()->text(i).toStdString());
        return texts;
    }

    std::unique_ptr<Session> session;
};

}  // namespace kestrova::studio
