#pragma once

#include <functional>
#include <vector>

#include "KitwellPlatform/Interface/Dialogs.h"

namespace kitwell::test {

// A person who answers as the test says, and remembers what was shown.
class ScriptedDialogs : public platform::DialogPresenter {
public:
    ScriptedDialogs() { platform::setDialogPresenter(this); }
    ~ScriptedDialogs() override { platform::setDialogPresenter(nullptr); }

    std::function<std::optional<std::size_t>(const platform::AlertContent&)> answerAlert;
    std::function<std::optional<platform::FileUrl>(const platform::OpenPanelContent&)> answerPanel;
    std::vector<platform::AlertContent> alerts;
    std::vector<platform::OpenPanelContent> panels;

    std::optional<std::size_t> showAlert(const platform::AlertContent& content) override {
        alerts.push_back(content);
        return answerAlert ? answerAlert(content) : std::nullopt;
    }
    std::optional<platform::FileUrl> showOpenPanel(const platform::OpenPanelContent& content) override {
        panels.push_back(content);
        return answerPanel ? answerPanel(content) : std::nullopt;
    }
};

} // namespace kitwell::test
