// SPDX-License-Identifier: MIT
#include "CommandLine.h"

#include <algorithm>
#include <optional>
#include <utility>

#include <Bases/Version.h>

#include "FileName.h"

namespace Examples {

namespace {

/// Takes options and operands from the arguments, one by one.
class Parser {
public:
    Parser(const Arguments& arguments, const std::vector<OptionForm>& forms, CommandLine& line)
        : m_next(arguments.begin()), m_end(arguments.end()), m_forms(forms), m_line(line) {}

    void Parse() {
        while (m_next != m_end) {
            const std::string& argument = *m_next++;
            if (argument == "--")
                TakeRest();
            else if (argument.starts_with("--"))
                TakeName(std::string_view(argument).substr(2));
            else if (argument.size() > 1 && argument.front() == '-')
                TakeLetters(std::string_view(argument).substr(1));
            else
                m_line.operands.push_back(argument);
        }
    }

private:
    void TakeRest() {
        m_line.operands.insert(m_line.operands.end(), m_next, m_end);
        m_next = m_end;
    }

    template <typename Condition>
    const OptionForm& Find(const std::string& shown, const Condition& condition) const {
        const auto form = std::find_if(m_forms.begin(), m_forms.end(), condition);
        if (form == m_forms.end())
            throw UsageError("there is no option " + ForDisplay(shown));
        return *form;
    }

    void TakeName(std::string_view text) {
        const std::size_t equals = text.find('=');
        const std::string_view name = text.substr(0, equals);
        const OptionForm& form =
            Find("--" + std::string(name), [name](const OptionForm& f) { return f.name == name; });
        std::optional<std::string> value;
        if (equals != std::string_view::npos)
            value = text.substr(equals + 1);
        if (value && !form.takesValue)
            throw UsageError("--" + std::string(name) + " takes no value");
        Take(form, value);
    }

    void TakeLetters(std::string_view letters) {
        while (!letters.empty()) {
            const char letter = letters.front();
            letters.remove_prefix(1);
            const OptionForm& form =
                Find({'-', letter}, [letter](const OptionForm& f) { return f.letter == letter; });
            std::optional<std::string> value;
            if (form.takesValue && !letters.empty())
                value = std::exchange(letters, {});
            Take(form, value);
        }
    }

    void Take(const OptionForm& form, std::optional<std::string> value) {
        if (form.takesValue && !value) {
            if (m_next == m_end)
                throw UsageError("--" + std::string(form.name) + " needs a value");
            value = *m_next++;
        }
        m_line.options.push_back({form.name, value.value_or("")});
    }

    Arguments::const_iterator m_next;
    Arguments::const_iterator m_end;
    const std::vector<OptionForm>& m_forms;
    CommandLine& m_line;
};

} // namespace

CommandLine::CommandLine(const Arguments& arguments, const std::vector<OptionForm>& forms) {
    Parser(arguments, forms, *this).Parse();
}

bool CommandLine::Has(std::string_view name) const {
    return std::any_of(options.begin(), options.end(),
                       [name](const Option& option) { return option.name == name; });
}

std::string VersionLine(const std::string& program) {
    return program + " (Vorn Bases) " + VORN_BASES_VERSION_TEXT + "\n";
}

} // namespace Examples
