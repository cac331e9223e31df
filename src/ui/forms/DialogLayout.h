#pragma once
// The row of buttons every dialog ends with: right-aligned, the first one the
// default (Enter presses it).

#include <QBoxLayout>
#include <QHBoxLayout>
#include <QPushButton>
#include <initializer_list>

namespace quillane {

inline void addButtonRow(QBoxLayout* layout, std::initializer_list<QPushButton*> buttons) {
    auto* row = new QHBoxLayout;
    row->addStretch();
    for (QPushButton* button : buttons) {
        row->addWidget(button);
    }
    layout->addLayout(row);
    if (buttons.size() > 0) {
        (*buttons.begin())->setDefault(true);
    }
}

} // namespace quillane
