#include "annotation/ActionHistory.h"

DWStroke* ActionHistory::lastStroke() const {
    return actionStroks_.isEmpty() ? nullptr : actionStroks_.last().stroke.get();
}

bool ActionHistory::revoke() {
    if (actionStroks_.isEmpty())
        return false;
    ActionItem item = actionStroks_.takeLast();
    if (item.text)
        item.text->setOnCanvas(false);
    redoActionStroks_.append(std::move(item));
    return true;
}

bool ActionHistory::undoRevoke() {
    if (redoActionStroks_.isEmpty())
        return false;
    ActionItem item = redoActionStroks_.takeLast();
    if (item.text)
        item.text->setOnCanvas(true);
    actionStroks_.append(std::move(item));
    return true;
}

void ActionHistory::clear() {
    for (auto it = actionStroks_.crbegin(); it != actionStroks_.crend(); ++it) {
        if (it->text)
            it->text->setOnCanvas(false);
    }
    actionStroks_.clear();
}

std::shared_ptr<TextItem> ActionHistory::finishPendingText() {
    if (actionStroks_.isEmpty() || !actionStroks_.last().isText())
        return nullptr;
    std::shared_ptr<TextItem> text = actionStroks_.last().text;
    text->finishEditing();
    if (text->text().isEmpty()) {
        text->setOnCanvas(false);
        actionStroks_.removeLast();
        return nullptr;
    }
    return text;
}
