// The main screen's add, edit and delete profile commands, wired to its buttons.
#include "ui/profile/ProfileCommands.h"

#include "ui/common/AppInfo.h"
#include "ui/main/frmMain.h"

#include <QCheckBox>
#include <QComboBox>
#include <QListWidget>
#include <QSignalBlocker>
#include <memory>

namespace qm::ui {

ProfileEditorContext profileEditorContextOf(frmMain& screen)
{
    ProfileEditorContext context;
    context.environment.settings = screen.settingsContext();
    context.environment.prompter = &screen.prompter();
    context.environment.currency = app::CurrencyFormat::fromEnvironment();
    context.environment.applicationTitle = applicationTitle().toStdString();
    context.environment.askAddress = [&screen](const std::string& text, const std::string& title) {
        const MsgBoxAnswer answer = screen.askMsgBox()(
            MsgBoxRequest{QString::fromStdString(title), "?", QString::fromStdString(text), true}, &screen);
        return app::AddressAnswer{answer.accepted, answer.doNotShowAgain};
    };
    context.readLists = [&screen] {
        app::ProfileLists lists;
        const QComboBox* box = screen.profileBox();
        for (int i = 0; i < box->count(); ++i)
            lists.names.push_back(box->itemText(i).toStdString());
        lists.selected = box->currentIndex();
        return lists;
    };
    context.writeLists = [&screen](const app::ProfileLists& lists) {
        // The core has written ProfileList.log already; the screen only shows
        // the new list. The browser follows through applyBrowserDefaults.
        QComboBox* box = screen.profileBox();
        QListWidget* list = screen.profileList();
        const QSignalBlocker blockBox(box);
        const QSignalBlocker blockList(list);
        box->clear();
        list->clear();
        for (const std::string& name : lists.names) {
            box->addItem(QString::fromStdString(name));
            list->addItem(QString::fromStdString(name));
        }
        box->setCurrentIndex(lists.selected);
        list->setCurrentRow(lists.selected);
    };
    context.addressQuestionTurnedOff = [&screen] {
        // The editor has written the option; the box only shows it, so the
        // options tab does not count it as an unsaved change.
        if (auto* box = screen.findChild<QCheckBox*>("chkShowAddProfileAsk")) {
            const QSignalBlocker block(box);
            box->setChecked(true);
        }
    };
    context.browserPath = [&screen] { return screen.browserFolder(); };
    context.applyBrowserDefaults = [&screen](const app::BrowserDefaults&) { screen.applyProfileBrowserDefaults(); };
    return context;
}

void attachProfileCommands(frmMain& screen)
{
    auto context = std::make_shared<ProfileEditorContext>(profileEditorContextOf(screen));
    QObject::connect(&screen, &frmMain::addProfileRequested, &screen,
                     [&screen, context] { runAddProfile(&screen, *context); });
    QObject::connect(&screen, &frmMain::editProfileRequested, &screen,
                     [&screen, context] { runEditProfile(&screen, *context); });
    QObject::connect(&screen, &frmMain::deleteProfileRequested, &screen,
                     [context] { deleteSelectedProfile(*context); });
}

} // namespace qm::ui
