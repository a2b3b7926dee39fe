#include "tools/tyksim/Help.h"

#include "tools/console/Console.h"
#include "tools/console/VerbOptions.h"
#include "tools/console/Wrap.h"

#include <algorithm>
#include <unistd.h>
#include <utility>
#include <vector>

namespace tyksim {

namespace {

constexpr size_t kColumn = 30;  ///< column of the descriptions
constexpr size_t kLeastWidth = 40;
constexpr size_t kMostWidth = 100;  // longer lines are hard to read

/// The text after the option's name: "FILE", "a|b", "N...".
std::string valueOf(const CLI::Option& option) {
    if (option.get_items_expected_max() == 0) return "";  // a flag
    return valueNameOf(option) + (option.get_items_expected_max() > 1 ? "..." : "");
}

/// "-o, --output OUT", or the name of a positional argument.
std::string headOf(const CLI::Option& option) {
    if (option.get_positional()) {
        return option.get_name() + (option.get_items_expected_max() > 1 ? "..." : "");
    }
    std::string head;
    for (const std::string& name : option.get_snames()) head += "-" + name + ", ";
    for (const std::string& name : option.get_lnames()) head += "--" + name;
    const std::string value = valueOf(option);
    return value.empty() ? head : head + " " + value;
}

/// The description of an option, with its values in parentheses.
std::string textOf(const CLI::Option& option) {
    std::vector<std::string> facts;
    if (option.get_required() && option.nonpositional()) facts.emplace_back("required");
    if (!rangeOf(option).empty()) facts.push_back(rangeOf(option));
    if (!option.get_default_str().empty()) facts.push_back("default: " + option.get_default_str());
    for (const CLI::Option* other : option.get_excludes()) {
        facts.push_back("not with " + other->get_name());
    }
    std::string list;
    for (const std::string& fact : facts) list += (list.empty() ? " (" : "; ") + fact;
    return option.get_description() + list + (list.empty() ? "" : ")");
}

/// Collects the rows of a section in two columns, or in two lines if a term is too wide.
class Page {
public:
    explicit Page(size_t width) : width_(width), column_(width < 64 ? 8 : kColumn) {}

    void addRow(const std::string& head, const std::string& text) {
        const std::string row = "  " + head;
        size_t at = row.size();
        out_ += row;
        if (at + 2 > column_) {
            out_ += "\n";
            at = 0;
        }
        out_.append(column_ - at, ' ');
        appendWrapped(out_, text, column_, column_, width_);
        out_ += "\n";
    }

    void addHeading(const std::string& heading) { out_ += "\n" + heading + ":\n"; }
    void addText(std::string_view text) { out_ += reflowed(text, width_); }
    std::string take() { return std::move(out_); }

private:
    size_t width_;
    size_t column_;
    std::string out_;
};

using Options = std::vector<const CLI::Option*>;

Options positionalsOf(const CLI::App& app) {
    return app.get_options([](const CLI::Option* option) { return option->get_positional(); });
}

std::string usageOf(const CLI::App& app, const std::string& name) {
    std::string usage = "Usage: " + name + " [OPTIONS]";
    for (const CLI::Option* option : app.get_options({})) {
        if (option->nonpositional() && option->get_required()) {
            usage += " " + option->get_name() + " " + valueNameOf(*option);
        }
    }
    for (const CLI::Option* option : positionalsOf(app)) {
        const std::string head = headOf(*option);
        usage += option->get_required() ? " " + head : " [" + head + "]";
    }
    if (!app.get_subcommands({}).empty()) usage += " VERB";
    return usage;
}

void addOptions(Page& page, const char* heading, const Options& options) {
    if (options.empty()) return;
    page.addHeading(heading);
    for (const CLI::Option* option : options) page.addRow(headOf(*option), textOf(*option));
}

std::string_view withoutEmptyLines(const std::string& text) {
    const size_t first = std::min(text.find_first_not_of('\n'), text.size());
    return std::string_view(text).substr(first, text.find_last_not_of('\n') + 1 - first);
}

}  // namespace

std::string HelpFormatter::make_help(const CLI::App* app, std::string name,
                                     CLI::AppFormatMode /*mode*/) const {
    const size_t columns = terminalWidth(STDOUT_FILENO);
    Page page(std::clamp(columns, kLeastWidth, kMostWidth));
    page.addText(app->get_description());
    page.addText("\n" + usageOf(*app, name));
    addOptions(page, "Arguments", positionalsOf(*app));
    addOptions(page, "Options",
               app->get_options([](const CLI::Option* option) { return option->nonpositional(); }));
    const auto verbs = app->get_subcommands([](const CLI::App*) { return true; });
    if (!verbs.empty()) page.addHeading("Verbs");
    for (const CLI::App* verb : verbs) page.addRow(verb->get_name(), verb->get_description());
    page.addText("\n");
    page.addText(withoutEmptyLines(app->get_footer()));
    return page.take();
}

}  // namespace tyksim
