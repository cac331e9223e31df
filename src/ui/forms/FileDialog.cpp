#include "ui/forms/FileDialog.h"

#include <QApplication>
#include <QComboBox>
#include <QDir>
#include <QElapsedTimer>
#include <QFileInfo>
#include <QGridLayout>
#include <QKeyEvent>
#include <QLineEdit>
#include <QListWidget>
#include <QPushButton>
#include <QSignalBlocker>
#include <QStorageInfo>
#include <QStyle>
#include <QVBoxLayout>
#include <algorithm>

#include "ui/Commands.h"
#include "ui/forms/Text.h"

namespace quillane {

namespace {

// Where each directory-list entry leads.
constexpr int kPathRole = Qt::UserRole;

QString folderName(const QString& path) {
    const QString name = QFileInfo(path).fileName();
    return name.isEmpty() ? path : name; // a root has no name of its own
}

// The directory list: its entries are indented by their depth, so the list's own
// search, which compares from the first character, would never find a name. Typing
// jumps to the next folder whose name starts with what was typed (letters typed in
// quick succession make one word; the same letter again goes on to the next match).
class FolderList : public QListWidget {
  public:
    using QListWidget::QListWidget;

    void keyboardSearch(const QString& search) override {
        if (search.isEmpty() || count() == 0) {
            return;
        }
        const bool sameWord =
            typing_.isValid() && typing_.elapsed() <= QApplication::keyboardInputInterval();
        typing_.restart();
        typed_ = sameWord ? typed_ + search : search;
        // A repeated first letter cycles through the names starting with it.
        const bool repeated = typed_.size() > 1 && typed_.count(typed_.front()) == typed_.size();
        const QString word = repeated ? typed_.left(1) : typed_;
        const int start = std::max(currentRow(), 0);
        // A new word or a repeated letter looks from the next entry on.
        const int first = typed_.size() == 1 || repeated ? 1 : 0;
        for (int step = first; step < count() + first; ++step) {
            const int row = (start + step) % count();
            if (item(row)->text().trimmed().startsWith(word, Qt::CaseInsensitive)) {
                setCurrentRow(row);
                scrollToItem(item(row));
                return;
            }
        }
    }

  private:
    QString typed_;
    QElapsedTimer typing_;
};

} // namespace

FileDialog::FileDialog(Model& m, Desktop& d, const QString& title, const QString& actionCaption,
                       QWidget* parent)
    : QDialog(parent), m_(m), d_(d) {
    setWindowTitle(title);
    Drive1 = new QComboBox(this);
    Dir1 = new FolderList(this);
    File1 = new QListWidget(this);
    txtFileName = new QLineEdit(this);
    actionButton_ = new QPushButton(actionCaption, this);
    cmdExit = new QPushButton("Cancel", this);

    auto* layout = new QGridLayout(this);
    layout->addWidget(txtFileName, 0, 0);
    layout->addWidget(File1, 1, 0, 2, 1);
    layout->addWidget(Dir1, 0, 1, 2, 1);
    layout->addWidget(Drive1, 2, 1);
    auto* buttons = new QVBoxLayout;
    buttons->addWidget(actionButton_);
    buttons->addWidget(cmdExit);
    buttons->addStretch();
    layout->addLayout(buttons, 0, 2, 3, 1);
    File1->setMinimumWidth(200);
    Dir1->setMinimumWidth(220);
    txtFileName->setMinimumWidth(200);
    setMinimumSize(600, 320);
    actionButton_->setDefault(true);

    // Enter in the lists acts on the entry instead of pressing the default button.
    Dir1->installEventFilter(this);
    File1->installEventFilter(this);

    connect(Drive1, &QComboBox::currentIndexChanged, this, [this] { Drive1_Change(); });
    connect(Dir1, &QListWidget::itemDoubleClicked, this, &FileDialog::openFolder);
    connect(File1, &QListWidget::itemClicked, this, &FileDialog::File1_Click);
    connect(File1, &QListWidget::itemSelectionChanged, this, [this] {
        const auto selected = File1->selectedItems();
        if (!selected.isEmpty()) {
            File1_Click(selected.first());
        }
    });
    connect(File1, &QListWidget::itemDoubleClicked, this, &FileDialog::chooseFile);
    connect(actionButton_, &QPushButton::clicked, this, &FileDialog::action_Click);
    connect(cmdExit, &QPushButton::clicked, this, &QDialog::reject);

    fillDrives();
    QString start = QDir::currentPath();
    if (!m_.ModelFilePath.empty()) {
        const QFileInfo last(qText(m_.ModelFilePath));
        if (last.absoluteDir().exists()) {
            start = last.absolutePath();
        }
    }
    // The folder shown is never empty, so a typed name is never taken relative to
    // the program's own current folder (which may be gone).
    for (const QString& folder : {start, QDir::homePath(), QDir::rootPath()}) {
        if (folder_.isEmpty()) {
            setFolder(folder);
        }
    }

    // Form_Load: the file list's selection, none on opening.
    const auto selected = File1->selectedItems();
    txtFileName->setText(selected.isEmpty() ? QString() : selected.first()->text());
}

void FileDialog::setFolder(const QString& path) {
    const QFileInfo info(path);
    if (!info.isDir()) {
        return;
    }
    folder_ = QDir::cleanPath(info.absoluteFilePath());
    selectDrive();
    fillDirectories();
    Dir1_Change();
}

void FileDialog::fillDrives() {
    const QSignalBlocker blocker(Drive1);
    Drive1->clear();
    QStringList roots;
    for (const QStorageInfo& volume : QStorageInfo::mountedVolumes()) {
        // Containers mount single files too; only folders can be shown.
        if (volume.isValid() && volume.isReady() && QFileInfo(volume.rootPath()).isDir()) {
            roots.append(volume.rootPath());
        }
    }
    roots.removeDuplicates();
    roots.sort();
    Drive1->addItems(roots);
}

void FileDialog::selectDrive() {
    const QSignalBlocker blocker(Drive1);
    const QString root = QStorageInfo(folder_).rootPath();
    int index = Drive1->findText(root);
    if (index < 0 && !root.isEmpty()) {
        Drive1->addItem(root);
        index = Drive1->count() - 1;
    }
    Drive1->setCurrentIndex(index);
}

void FileDialog::Drive1_Change() {
    // The directory list goes to the root of the drive just chosen.
    if (Drive1->currentIndex() >= 0) {
        setFolder(Drive1->currentText());
    }
}

void FileDialog::fillDirectories() {
    Dir1->clear();
    // The chain from the root down to the folder, then the folder's subfolders one
    // step further in.
    QStringList chain;
    QDir walker(folder_);
    do {
        chain.prepend(walker.absolutePath());
    } while (walker.cdUp());

    const QIcon open = style()->standardIcon(QStyle::SP_DirOpenIcon);
    const QIcon closed = style()->standardIcon(QStyle::SP_DirClosedIcon);
    const auto add = [this](const QString& path, int depth, const QIcon& icon) {
        auto* item = new QListWidgetItem(icon, QString(depth * 2, ' ') + folderName(path), Dir1);
        item->setData(kPathRole, path);
        return item;
    };
    QListWidgetItem* current = nullptr;
    for (int depth = 0; depth < chain.size(); ++depth) {
        current = add(chain[depth], depth, open);
    }
    const QDir here(folder_);
    const QStringList subfolders =
        here.entryList(QDir::Dirs | QDir::NoDotAndDotDot, QDir::Name | QDir::IgnoreCase);
    for (const QString& name : subfolders) {
        add(here.absoluteFilePath(name), static_cast<int>(chain.size()), closed);
    }
    Dir1->setCurrentItem(current);
}

void FileDialog::Dir1_Change() {
    File1->clear();
    const QStringList files =
        QDir(folder_).entryList({"*.model"}, QDir::Files, QDir::Name | QDir::IgnoreCase);
    File1->addItems(files);
    File1->setCurrentRow(-1);
}

void FileDialog::openFolder(QListWidgetItem* item) {
    if (item != nullptr) {
        setFolder(item->data(kPathRole).toString());
    }
}

void FileDialog::File1_Click(QListWidgetItem* item) {
    if (item != nullptr) {
        txtFileName->setText(item->text());
    }
}

void FileDialog::chooseFile(QListWidgetItem* item) {
    if (item != nullptr) {
        File1_Click(item);
        actionButton_->click();
    }
}

void FileDialog::action_Click() {
    const std::string folder = stdText(folder_);
    const std::string name = stdText(txtFileName->text());
    bool done = false;
    // A failure is reported by the command; the dialog stays open for another try.
    if (RunGuarded(m_, d_, [&] { done = performAction(folder, name); }) && done) {
        accept();
    }
}

bool FileDialog::eventFilter(QObject* watched, QEvent* event) {
    if (event->type() == QEvent::KeyPress) {
        const int key = static_cast<QKeyEvent*>(event)->key();
        if (key == Qt::Key_Return || key == Qt::Key_Enter) {
            if (watched == Dir1) {
                openFolder(Dir1->currentItem());
                return true;
            }
            if (watched == File1) {
                chooseFile(File1->currentItem());
                return true;
            }
        }
    }
    return QDialog::eventFilter(watched, event);
}

} // namespace quillane
