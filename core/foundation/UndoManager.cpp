#include "UndoManager.h"

namespace qv {

void UndoManager::registerUndo(Action partner) {
    if (disabled_ > 0) return;
    auto& stack = target();
    if (mode_ == Mode::Normal) redo_.clear();
    // Inside an explicit group, or during an undo or redo (which runs as one group), every
    // registration joins the same step.
    const bool joinCurrent = (openGroups_ > 0 && groupStarted_) || (mode_ != Mode::Normal && groupStarted_);
    if (!joinCurrent || stack.empty()) {
        stack.push_back(Group{});
        if (openGroups_ > 0 || mode_ != Mode::Normal) groupStarted_ = true;
    }
    stack.back().actions.push_back(std::move(partner));
}

void UndoManager::setActionName(const QString& name) {
    auto& stack = target();
    if (!stack.empty()) stack.back().name = name;
}

void UndoManager::beginUndoGrouping() {
    if (openGroups_++ == 0) groupStarted_ = false;
}

void UndoManager::endUndoGrouping() {
    if (openGroups_ > 0 && --openGroups_ == 0) groupStarted_ = false;
}

void UndoManager::run(std::vector<Group>& from, Mode mode) {
    if (from.empty() || mode_ != Mode::Normal) return;
    Group g = std::move(from.back());
    from.pop_back();
    mode_ = mode;
    groupStarted_ = false;
    // Partners run in reverse order of registration, so a step of several changes unwinds
    // from its last change.
    for (auto it = g.actions.rbegin(); it != g.actions.rend(); ++it) (*it)();
    // The reversing step keeps the name unless a partner gave it another.
    auto& other = mode == Mode::Undoing ? redo_ : undo_;
    if (groupStarted_ && !other.empty() && other.back().name.isEmpty()) other.back().name = g.name;
    groupStarted_ = false;
    mode_ = Mode::Normal;
}

void UndoManager::undo() { run(undo_, Mode::Undoing); }
void UndoManager::redo() { run(redo_, Mode::Redoing); }

QString UndoManager::undoActionName() const { return undo_.empty() ? QString() : undo_.back().name; }
QString UndoManager::redoActionName() const { return redo_.empty() ? QString() : redo_.back().name; }

QString UndoManager::undoMenuItemTitle() const {
    const QString n = undoActionName();
    return n.isEmpty() ? QStringLiteral("Undo") : QStringLiteral("Undo ") + n;
}

QString UndoManager::redoMenuItemTitle() const {
    const QString n = redoActionName();
    return n.isEmpty() ? QStringLiteral("Redo") : QStringLiteral("Redo ") + n;
}

void UndoManager::removeAllActions() {
    undo_.clear();
    redo_.clear();
}

}  // namespace qv
