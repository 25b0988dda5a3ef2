#include "analysis/error_messages.h"

#include <algorithm>
#include <array>

#include "values/text.h"

namespace ktformula {

namespace {

constexpr std::string_view kNeedsColumn =
    "Give it a column in brackets, as in SUM([Mass]), or an expression and a table.";
constexpr std::string_view kNeedsTable =
    "Name the table in brackets behind the expression, as in SUM([Mass]*2, [Reactants]).";

constexpr auto kMessages = std::to_array<ErrorMessage>({
    // Reading.
    {"the character \"*\" is not recognized as the first character of a formula token",
     "A character stands there that belongs to no formula.",
     "Take it away, or put it into a text in quotes.", "[Mass] ? 2"},
    {"Invalid procedure call or argument", "The formula ends with an opening bracket.",
     "Complete the name and its closing bracket.", "2*["},
    {"the specified formula has an unbalanced left parenthesis",
     "A parenthesis is opened and not closed.", "Close it.", "2*([Mass]+1"},
    {"the specified formula has an unbalanced right parenthes*",
     "A parenthesis is closed that was not opened.", "Take it away, or open one before it.",
     "2*[Mass])"},
    {"the formula contains an unexpected comma following *",
     "Nothing stands between a comma and the comma or parenthesis before it.",
     "Put the missing argument in. Numbers in formulas have no comma.", "SUM(,[Reactants])"},
    {"the formula is nested too deeply",
     "Parentheses stand within one another more than 256 deep, or definitions and functions need "
     "one another too deep.",
     "Take parts of the formula into definitions or columns of their own.", ""},
    {"the formula is too long", "The formula has more than 268,435,455 characters.",
     "Take parts of it into definitions or columns of their own.", ""},
    // Names and what they stand for.
    {"the object of type \"Nothing\" can not be converted into a value",
     "Nothing in reach has the name that stands in brackets.",
     "Correct the name; `ktnotebook check` says which one may be meant.", "[MW2]"},
    {"the object of type \"*\" can not be converted into a value",
     "The name in brackets stands for a whole table, a row, a form or a field of text, which has "
     "no value.",
     "Name a column or a cell, or ask for a SUM, MIN, MAX or COUNT of the table.",
     "[Compounds] + 1"},
    {"the reference \"*\" is not recognized",
     "Nothing in reach has the name that stands in "
     "brackets.",
     "Correct the name; `ktnotebook check` says which one may be meant.", "TAG([MW2])"},
    {"the function \"*\" is not recognized", "The language has no function of this name.",
     "Correct the name; `ktnotebook functions` lists them all.", ""},
    {"the string \"*\" is not recognized", "A word without brackets is none of the language's own.",
     "Put names of columns and definitions into brackets, texts into quotes.", "Mass * 2"},
    {"the specified table property can not be resolved to a value for a table *",
     "A column of one table is read from a cell or row of another.",
     "Use SELECT to find the row of the other table, or an aggregate over all its rows.",
     "[Compounds:MW]"},
    {"the specified table property can not be resolved to a value for this table row",
     "The row has no cell in this column.", "Give the row its cell.", ""},
    {"the specified table property can not be resolved to a value for a formula being assigned to "
     "something other than a table cell",
     "A definition reads a column, but a definition belongs to no row.",
     "Use an aggregate in the definition, as in SUM([Mass]), or write the expression into the "
     "columns.",
     ""},
    {"the definition \"*\" refers to itself",
     "A definition needs its own value, directly or through others.",
     "Change one of the definitions.", ""},
    // Operators.
    {"the value \"*\" is not a number",
     "Arithmetic or a comparison met a text, or a number cell that holds one, such as \"n.d.\".",
     "Type a number in, empty the cell, or say with ONERROR what is to be shown.",
     "[Compound] + \"x\""},
    {"a value could not be converted into a number", "A text stands where a number is needed.",
     "Use a column of numbers.", "[Compound] + 1"},
    {"Division by zero", "The divisor is 0, or its cell is empty.",
     "Fill the cell, or say with ONERROR or IF what is to be shown.", "[Mass]/0"},
    {"Overflow", "The result is too large for a number, or 0 was divided by 0.",
     "Look for a divisor that is almost 0.", "0/0"},
    {"Type mismatch",
     "A number can not be read, or something that is neither true nor false stands where a truth "
     "value should.",
     "Compare with a number, as in [Mass] > 0.", "(1 = 1) AND (\"a\" & \"b\")"},
    {"Subscript out of range",
     "An operator has nothing on its right, or a sign stands behind * or /.",
     "Put the missing operand in, and signs into parentheses, as in [Mass]*(-1).", "[Mass]*-1"},
    {"Object variable not set", "A cell or row that the formula speaks of is not there.",
     "Correct the reference.", ""},
    {"a test for * can not be performed on an operand of the resulting type",
     "Values of two kinds are compared, or something that is neither true nor false is joined by "
     "AND, OR or XOR.",
     "Compare numbers with numbers and texts with texts; put parentheses around each comparison.",
     "2 AND (1=1)"},
    {"an argument does not evaluate to a Boolean value",
     "AND, OR or XOR has something on its left that is neither true nor false.",
     "Put a comparison there, as in [Mass] > 0.", ""},
    {"the string \"*\" is not a recognized boolean",
     "A text that is neither true nor false stands where a truth value should.",
     "Use true, false or a comparison.", ""},
    {"the token following a NOT is not a Boolean value",
     "NOT stands in front of something that is neither true nor false.",
     "Put a comparison in parentheses behind it.", ""},
    {"the symbol \"*\" is not a prefix symbol",
     "The formula, or a part in parentheses, begins with an operator that needs a left side.",
     "Put the missing operand in front of it.", "* 2"},
    {"the symbol \"*\" can not follow another symbol", "Two operators stand side by side.",
     "Put a sign and its number into parentheses, as in [Mass] - (-1).", "[Mass] - -1"},
    {"the symbol \"*\" can not be evaluated in isolation",
     "An argument of a function is nothing but an operator.", "Complete the argument.",
     "IF(1=1, *, 2)"},
    {"the symbol \"*\" is not a valid token", "The symbol is no operator between two values.",
     "Use one of the language's operators.", "1 +/- 2"},
    {"the syntax for the formula is not valid; an operator is missing",
     "Two parts stand side by side without an operator between them.", "Put the operator in.",
     "[Mass] (2+1)"},
    {"the syntax for the formula token \"*\" is not valid",
     "A value stands where an operator should.",
     "Put an operator in front of it. Units belong to columns and are not written in formulas.",
     "[Mass] 2"},
    {"the text is longer than * characters", "Texts were joined to more than a cell can hold.",
     "Join fewer of them.", ""},
    // Functions.
    {"the number of arguments for * function (*", "The function takes more, or fewer, arguments.",
     "`ktnotebook functions` shows what it takes.", "SUM([Mass], [Reactants], true, 1)"},
    {"the * function requires *", "The function's name stands without its arguments.",
     "`ktnotebook functions` shows what it takes.", "SUM + 1"},
    {"the argument for the * function is not a reference",
     "An aggregate of one argument is given "
     "an expression.",
     kNeedsColumn, "SUM([Mass]*2)"},
    {"the argument for the * function is not a reference to a table property",
     "An aggregate or a tag function is given something that is no column.", kNeedsColumn,
     "SUM([Compounds])"},
    {"the second argument for the * function is not a reference",
     "The second argument of an aggregate or of SELECT is no name in brackets.", kNeedsTable,
     "SUM([Mass], 1)"},
    {"the second argument for the * function is not a reference to a table",
     "The name stands for something that is no table.", kNeedsTable, "SUM([Mass], [Mass])"},
    {"the first argument for the Count function is not a reference*",
     "COUNT is given something that is no table.",
     "Name a table in brackets, as in "
     "COUNT([Reactants]).",
     "COUNT(1)"},
    {"no row of the specified table satisfies the Where clause of a Select function",
     "SELECT found no row for which its condition is true.",
     "Correct the condition, add the row, or say with ONERROR what is to be shown.",
     "SELECT([MW], [Compounds], 1=2)"},
    {"the argument * the * function must be a reference",
     "TAG or ISENTERED is given an expression.", "Name a column or a cell in brackets.",
     "TAG([Mass]*2)"},
    {"the argument for the * function is not of the correct type",
     "TAG or ISENTERED is given a number.", "Name a column or a cell in brackets.", "TAG(1)"},
    {"the argument for the * function can only be resolved in the context of a table cell*",
     "TAG or ISENTERED stands in a definition or a condition, where no cell is computed.",
     "Write it into the formula of a column.", ""},
    {"the table property argument for the * function must be in the same table section as the "
     "table cell in which the value will be calculated",
     "TAG or ISENTERED is given a column of another table.",
     "Name a column of the same table, or a single cell as [Table:Column:Row].",
     "TAG([Compounds:MW])"},
});

// Whether the text is the pattern, in which each "*" stands for any characters.
bool Fits(std::u16string_view text, std::string_view pattern) {
  const std::size_t star = std::min(pattern.find('*'), pattern.size());
  if (text.size() < star ||
      !std::equal(pattern.begin(), pattern.begin() + static_cast<std::ptrdiff_t>(star),
                  text.begin())) {
    return false;
  }
  text.remove_prefix(star);
  if (star == pattern.size()) return text.empty();
  pattern.remove_prefix(star + 1);
  for (;; text.remove_prefix(1)) {
    if (Fits(text, pattern)) return true;
    if (text.empty()) return false;
  }
}

}  // namespace

std::span<const ErrorMessage> ErrorMessages() noexcept {
  return kMessages;
}

const ErrorMessage* FindErrorMessage(std::u16string_view description) noexcept {
  const auto found =
      std::find_if(kMessages.begin(), kMessages.end(),
                   [&](const ErrorMessage& message) { return Fits(description, message.text); });
  return found != kMessages.end() ? &*found : nullptr;
}

std::u16string HelpWithError(std::u16string_view description) {
  const ErrorMessage* const message = FindErrorMessage(description);
  if (message == nullptr) return {};
  // The sentences of a page have capitals and full stops.
  std::u16string help = Widen(message->mend);
  help.front() = LowerCase(help.substr(0, 1)).front();
  help.pop_back();
  std::erase(help, u'`');
  return help;
}

}  // namespace ktformula
