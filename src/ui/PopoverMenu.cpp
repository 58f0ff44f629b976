#include "PopoverMenu.h"

#include "AboutWindow.h"

#include <QAction>

PopoverMenu::PopoverMenu(Operations operations, QWidget* parent)
    : QMenu(parent), operations_(std::move(operations)) {
    //: Title of Nelvo's menu
    setTitle(tr("Nelvo"));
    //: Popover menu
    showRecordingsMenuItem_ = addItem(tr("Show Recordings"), operations_.showRecordings);
    //: Popover menu
    showWhatHappenedMenuItem_ = addItem(tr("Show What Happened"), operations_.showWhatHappened);
    //: Popover menu
    makeTimeLapseMenuItem_ = addItem(tr("Make a Time-lapse"), operations_.makeTimeLapse);
    //: Popover menu
    recordTestMenuItem_ = addItem(tr("Record a Test"), operations_.recordTest);
    //: Popover menu, opens the settings window
    showPrefsMenuItem_ = addItem(tr("Preferences…"), operations_.showPreferences);
    //: Popover menu, opens the About window
    showAboutMenuItem_ = addItem(tr("About"), [this] { showAbout(); });
    addSeparator();
    //: Popover menu
    quitAppMenuItem_ = addItem(tr("Quit"), operations_.quitApp);

    connect(this, &QMenu::aboutToShow, this, &PopoverMenu::validate);
    validate();
}

PopoverMenu::~PopoverMenu() = default;

QAction* PopoverMenu::addItem(const QString& title, const std::function<void()>& operation) {
    QAction* item = addAction(title);
    item->setEnabled(bool(operation));
    if (operation) {
        connect(item, &QAction::triggered, this, [operation] { operation(); });
    }
    return item;
}

bool PopoverMenu::recordTestEnabled(const State& state) {
    if (state.isRecordingTest) {
        return false;
    }
    return state.armedState == ArmState::armed ||
           (state.armedState == ArmState::unarmed && state.canArm);
}

void PopoverMenu::validate() {
    const State state = operations_.state ? operations_.state() : State{};

    if (state.stretchTimes) {
        //: Popover menu, with the stretch's times
        showWhatHappenedMenuItem_->setText(tr("Show What Happened (%1)").arg(*state.stretchTimes));
        //: Popover menu, with the stretch's times
        makeTimeLapseMenuItem_->setText(tr("Make a Time-lapse (%1)").arg(*state.stretchTimes));
    } else {
        showWhatHappenedMenuItem_->setText(tr("Show What Happened"));
        makeTimeLapseMenuItem_->setText(tr("Make a Time-lapse"));
    }
    // Without a stretch there is nothing to show or make.
    showWhatHappenedMenuItem_->setEnabled(state.stretchTimes && operations_.showWhatHappened);
    makeTimeLapseMenuItem_->setEnabled(state.stretchTimes && operations_.makeTimeLapse);
    recordTestMenuItem_->setEnabled(operations_.recordTest && recordTestEnabled(state));
}

void PopoverMenu::showAbout() {
    if (!aboutWindow_) {
        aboutWindow_ = std::make_unique<AboutWindow>();
    }
    aboutWindow_->show();
    aboutWindow_->raise();
    aboutWindow_->activateWindow();
}
