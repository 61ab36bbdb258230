#pragma once
// The common dialogs answered by a test: every message and question is
// recorded, questions are answered from a queue (No when it is empty), file
// dialogs from their own queues (cancelled when a queue is empty).
#include <QString>
#include <QStringList>
#include <deque>
#include <functional>
#include <optional>
#include <vector>

#include "dialog_presenter.h"

namespace morvane::gui {

class ScriptedDialogPresenter : public DialogPresenter {
public:
    struct Message {
        QString text;
        QString title;
        MessageIcon icon;
    };
    struct Question {
        QString text;
        QString title;
        bool answer;
    };

    void message(QWidget*, const QString& text, const QString& title, MessageIcon icon) override {
        messages.push_back({text, title, icon});
        if (onMessage) onMessage(text);
    }
    bool question(QWidget*, const QString& text, const QString& title) override {
        bool answer = false;
        if (!answers.empty()) {
            answer = answers.front();
            answers.pop_front();
        }
        questions.push_back({text, title, answer});
        return answer;
    }
    std::optional<QStringList> openFiles(QWidget*, const QString& title, const QString& filter) override {
        openTitles.push_back(title);
        openFilters.push_back(filter);
        if (openResults.empty()) return std::nullopt;
        const QStringList result = openResults.front();
        openResults.pop_front();
        if (result.isEmpty()) return std::nullopt;
        return std::make_optional(result);
    }
    std::optional<QString> saveFile(QWidget*, const QString& title, const QString& filter) override {
        saveTitles.push_back(title);
        saveFilters.push_back(filter);
        if (saveResults.empty()) return std::nullopt;
        const QString result = saveResults.front();
        saveResults.pop_front();
        if (result.isEmpty()) return std::nullopt;
        return std::make_optional(result);
    }

    QStringList messageTexts() const {
        QStringList texts;
        for (const Message& m : messages) texts << m.text;
        return texts;
    }
    QStringList questionTexts() const {
        QStringList texts;
        for (const Question& q : questions) texts << q.text;
        return texts;
    }

    std::deque<bool> answers;
    std::deque<QStringList> openResults;  // an empty choice: the dialog was cancelled
    std::deque<QString> saveResults;      // an empty name: the dialog was cancelled
    std::function<void(const QString&)> onMessage;

    std::vector<Message> messages;
    std::vector<Question> questions;
    QStringList openTitles;
    QStringList openFilters;
    QStringList saveTitles;
    QStringList saveFilters;
};

}  // namespace morvane::gui
