#pragma once

#include "ArmState.h"

#include <QMenu>
#include <functional>
#include <optional>

class AboutWindow;
class QAction;

// The popover's menu: the recordings folder, the last armed stretch, a test
// recording, the settings, About and quitting. Its items call the operations
// it is given, so it knows nothing of the managers behind them.
class PopoverMenu : public QMenu {
    Q_OBJECT

public:
    // What the items depend on, read each time the menu opens.
    struct State {
        ArmState armedState = ArmState::unarmed;
        bool isRecordingTest = false;
        // At least one trigger could fire if Nelvo were armed now.
        bool canArm = false;
        // The times of the last armed stretch, when there is one.
        std::optional<QString> stretchTimes;
    };

    // An operation left empty leaves its item present but disabled.
    struct Operations {
        std::function<State()> state;
        std::function<void()> showRecordings;
        std::function<void()> showWhatHappened;
        std::function<void()> makeTimeLapse;
        std::function<void()> recordTest;
        std::function<void()> showPreferences;
        std::function<void()> quitApp;
    };

    explicit PopoverMenu(Operations operations, QWidget* parent = nullptr);
    ~PopoverMenu() override;

    // Sets the items' titles and whether they are enabled; runs when the menu opens.
    void validate();

    static bool recordTestEnabled(const State& state);

    QAction* showRecordingsMenuItem() const { return showRecordingsMenuItem_; }
    QAction* showWhatHappenedMenuItem() const { return showWhatHappenedMenuItem_; }
    QAction* makeTimeLapseMenuItem() const { return makeTimeLapseMenuItem_; }
    QAction* recordTestMenuItem() const { return recordTestMenuItem_; }
    QAction* showPrefsMenuItem() const { return showPrefsMenuItem_; }
    QAction* showAboutMenuItem() const { return showAboutMenuItem_; }
    QAction* quitAppMenuItem() const { return quitAppMenuItem_; }

    // The About window, once the item has been used.
    AboutWindow* aboutWindow() const { return aboutWindow_.get(); }

private:
    QAction* addItem(const QString& title, const std::function<void()>& operation);
    void showAbout();

    Operations operations_;
    QAction* showRecordingsMenuItem_ = nullptr;
    QAction* showWhatHappenedMenuItem_ = nullptr;
    QAction* makeTimeLapseMenuItem_ = nullptr;
    QAction* recordTestMenuItem_ = nullptr;
    QAction* showPrefsMenuItem_ = nullptr;
    QAction* showAboutMenuItem_ = nullptr;
    QAction* quitAppMenuItem_ = nullptr;
    std::unique_ptr<AboutWindow> aboutWindow_;
};
