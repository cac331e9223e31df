#pragma once
// The common layout of "Open Model" and "Save Model": a drive list, a directory
// list, a list of the folder's "*.model" files, the name box, the action button
// and "Cancel".

#include <QDialog>
#include <QString>
#include <string>

#include "model/Model.h"
#include "ui/Desktop.h"

class QComboBox;
class QLineEdit;
class QListWidget;
class QListWidgetItem;
class QPushButton;

namespace quillane {

class FileDialog : public QDialog {
    Q_OBJECT

  public:
    // The folder the directory list shows, where the file is read or written.
    QString folder() const { return folder_; }
    // Shows another folder; a path that is not an existing folder is ignored.
    void setFolder(const QString& path);

    QComboBox* Drive1;
    QListWidget* Dir1;
    QListWidget* File1;
    QLineEdit* txtFileName;
    QPushButton* cmdExit;

  protected:
    FileDialog(Model& m, Desktop& d, const QString& title, const QString& actionCaption,
               QWidget* parent);

    // Reads or writes the file; true when the dialog may close.
    virtual bool performAction(const std::string& folder, const std::string& name) = 0;

    bool eventFilter(QObject* watched, QEvent* event) override;

    QPushButton* actionButton_;
    Model& m_;
    Desktop& d_;

  private:
    void Drive1_Change();
    void Dir1_Change();
    void File1_Click(QListWidgetItem* item);
    void fillDrives();
    void selectDrive();
    void fillDirectories();
    void openFolder(QListWidgetItem* item);
    void chooseFile(QListWidgetItem* item);
    void action_Click();

    QString folder_;
};

} // namespace quillane
