// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include "core/Prompts.h"
#include "profile/ProfileEdit.h"

#include <QDialog>
#include <QList>
#include <QStringList>

#include <optional>

class QLabel;
class QLineEdit;
class QListWidget;
class QPushButton;
class ProfilePicture;

/// The profile editor: boxes for one step, the list of the profile's lines, a picture of temperature against time. It works on
/// TProfile::state(), so that the file entries store what the list shows. OK keeps the profile for the run; Cancel brings back the profile
/// as it was when the window opened or as last saved in it, after "Discard changes?" when there are edits that are not saved. Leaving by
/// any other way keeps the profile as the list shows it. What is typed counts in the picture and in the total as if it had been inserted,
/// or had replaced the chosen line; OK drops it only after "Discard changes?".
class dlgTProfile : public QDialog
{
    Q_OBJECT

public:
    explicit dlgTProfile(QWidget* parent = nullptr);

    /// Shows the editor; true when it was left with OK.
    static bool edit(QWidget* parent);

    void accept() override;
    void reject() override;

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;
    void closeEvent(QCloseEvent* event) override;

private:
    struct Snapshot
    {
        QStringList lines;
        int row;
    };

    void build();
    QLineEdit* addBox(ProfileEdit::Box box, const QString& name, const QString& toolTip);
    QLineEdit* field(ProfileEdit::Box box) const { return m_fields[static_cast<int>(box)]; }
    ProfileEdit::Boxes boxes() const;
    void load(int row);
    void fill(const ProfileEdit::Boxes& filled);
    bool acceptable(const ProfileEdit::Boxes& typed);
    void refuse(const ProfileEdit::Fault& fault, const QString& boxTitle, Prompts::Icon icon);
    void insert();
    void change();
    void move(int by);
    void remove();
    void undo();
    void remember();
    void edited(int row);
    void showProfile(int row = -1);
    void connectButtons();
    void orderFocus();
    void enableButtons();
    void preview();
    bool typedStepCounts() const;
    QList<TProfile::Step> stepsWithTyped() const;
    void checkRange(ProfileEdit::Box box);
    bool mayLeave();
    bool mayDiscard();
    void openFile();
    void saveFile();
    void discard();

    QList<QLineEdit*> m_fields; ///< in the order of ProfileEdit::Box
    QListWidget* m_list = nullptr;
    ProfilePicture* m_picture = nullptr;
    QLabel* m_total = nullptr;
    QLabel* m_status = nullptr;
    QLabel* m_file = nullptr;
    QPushButton* m_insert = nullptr;
    QPushButton* m_change = nullptr;
    QPushButton* m_up = nullptr;
    QPushButton* m_down = nullptr;
    QPushButton* m_delete = nullptr;
    QPushButton* m_undo = nullptr;
    QPushButton* m_ok = nullptr;
    QPushButton* m_cancel = nullptr;
    /// The step of each line, nothing for comments: parsed once, for a picture that follows the typing.
    QList<std::optional<TProfile::Step>> m_steps;
    QList<Snapshot> m_history;
    TProfile::State m_before;    ///< what Cancel brings back
    ProfileEdit::Boxes m_filled; ///< what the boxes held when they were filled or inserted
    bool m_loading = false;      ///< a line is brought into the boxes, as it is
    bool m_typed = false;        ///< the boxes hold something else since
    bool m_asking = false;       ///< a box is shown: leaving a field is not checked
};
