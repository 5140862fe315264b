#pragma once
// Message boxes and file choosers that answer from a list and keep what was asked.

#include "shell/dialogs.h"

#include <gtest/gtest.h>

#include <deque>

namespace vantry {

class ScriptedDialogs : public Dialogs {
public:
    ScriptedDialogs() : replacement_(*this) {}
    ~ScriptedDialogs() override {
        EXPECT_TRUE(answers.empty()) << "a question that was expected never came";
        EXPECT_TRUE(choices.empty()) << "a file was expected to be asked for";
    }

    // A question without an answer here is answered with its last button.
    std::deque<BoxAnswer> answers;
    // What file and folder choosers bring; nullopt: cancelled. Without an entry: cancelled.
    std::deque<std::optional<std::string>> choices;

    std::vector<Box> boxes;
    std::vector<FileChoice> asked_files;  // folder choosers, too: only the title is set there
    std::vector<std::string> opened;
    int beeps = 0;
    bool can_open = true;

    BoxAnswer Show(const Box& box) override {
        boxes.push_back(box);
        if (box.buttons == BoxButtons::Ok) {
            return BoxAnswer::Ok;
        }
        if (answers.empty()) {
            return box.buttons == BoxButtons::YesNo ? BoxAnswer::No : BoxAnswer::Cancel;
        }
        const auto answer = answers.front();
        answers.pop_front();
        return answer;
    }
    void Beep() override { ++beeps; }
    std::optional<std::string> ChooseFileToOpen(const FileChoice& choice) override {
        return Next(choice);
    }
    std::optional<std::string> ChooseFileToSave(const FileChoice& choice) override {
        return Next(choice);
    }
    std::optional<std::string> ChooseFolder(const std::string& title, const std::string&) override {
        return Next({title, "", "", ""});
    }
    bool Open(const std::string& path_or_address) override {
        opened.push_back(path_or_address);
        return can_open;
    }

    // The boxes since the last call as "icon|title|text|buttons", one a line: for tables of
    // messages.
    std::string TakeBoxes() {
        std::string text;
        for (const auto& box : boxes) {
            static constexpr const char* kIcons[] = {
                "none", "stop", "information", "question", "warning"};
            static constexpr const char* kButtons[] = {"OK", "Yes/No", "Retry/Cancel"};
            if (!text.empty()) {
                text += "\n";
            }
            text += std::string(kIcons[static_cast<int>(box.icon)]) + "|" + box.title + "|" +
                    box.text + "|" + kButtons[static_cast<int>(box.buttons)];
            if (box.preset == BoxAnswer::No) {
                text += " (No)";
            }
        }
        boxes.clear();
        return text;
    }

private:
    std::optional<std::string> Next(const FileChoice& choice) {
        asked_files.push_back(choice);
        if (choices.empty()) {
            return std::nullopt;
        }
        auto next = choices.front();
        choices.pop_front();
        return next;
    }

    DialogsReplacement replacement_;
};

}  // namespace vantry
