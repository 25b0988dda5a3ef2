// The requests of the page's interface: which there are, and what all have in common.
#pragma once

#include <functional>
#include <initializer_list>
#include <nlohmann/json.hpp>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "notebook/commands/json_output.h"
#include "notebook/page/api.h"
#include "notebook/page/page_dialogs.h"
#include "notebook/page/served_notebook.h"

namespace ktnotebook {

using Json = nlohmann::ordered_json;

// A request that is refused, with a status, a message for people and what else there is to say.
class ApiRefusal : public std::runtime_error {
 public:
  ApiRefusal(int status, const std::string& message, Json details = Json::object())
      : std::runtime_error(message), status_(status), details_(std::move(details)) {}

  int Status() const noexcept { return status_; }
  const Json& Details() const noexcept { return details_; }

 private:
  int status_;
  Json details_;
};

// One request, with what is behind its route's beginning. What is asked for and not there, or is of
// the wrong kind, is refused with 400.
class ApiCall {
 public:
  ApiCall(const ApiRequest& request, std::string_view rest, ServedNotebook& notebook,
          PageDialogs& dialogs);

  ServedNotebook& Notebook() const noexcept { return notebook_; }
  PageDialogs& Dialogs() const noexcept { return dialogs_; }
  const std::string& Client() const noexcept { return request_.client; }
  // The address behind the route: "Form/Table:Column:Row".
  const std::u16string& Address() const noexcept { return address_; }

  bool HasQuery(const std::string& name) const { return request_.query.contains(name); }
  // "" when it is not there.
  std::u16string Query(const std::string& name) const;
  std::vector<std::u16string> Queries(const std::string& name) const;
  // Within 0 and `most`; `otherwise` when it is not there.
  std::size_t QueryNumber(const std::string& name, std::size_t otherwise, std::size_t most) const;

  // The person's.
  std::optional<ktformula::Locale> AskedLocale() const;
  // The person's locale, else the form's own.
  ktformula::Locale LocaleFor(const NotebookForm& form) const;

  // For whom the answer is.
  JsonReader Reader() const;

  const std::string& RawBody() const noexcept { return request_.body; }
  // An object.
  const Json& Body() const;
  std::u16string Text(const char* field) const;
  std::optional<std::u16string> OptionalText(const char* field) const;
  std::optional<std::size_t> OptionalNumber(const char* field) const;
  bool Flag(const char* field) const;

 private:
  // nullptr when it is not there or null.
  const Json* Field(const char* field) const;

  const ApiRequest& request_;
  ServedNotebook& notebook_;
  PageDialogs& dialogs_;
  std::u16string address_;
  mutable std::optional<Json> body_;
};

// A text of JSON as the notebook keeps it.
std::u16string TextOf(const Json& json, std::string_view what);

struct ApiRoute {
  std::string_view method;
  // What the path begins with: "cells/"; without a slash at the end it is the whole path.
  std::string_view path;
  ApiAnswer (*handle)(const ApiCall&);
};

ApiAnswer JsonAnswer(const Json& json, int status = 200);
// Of something that is about one form, whose version goes with it.
ApiAnswer FormAnswer(std::string json, const ServedForm& served);

// Finds something by an address; what the search throws is a refusal with 404.
template <typename Search>
decltype(auto) Found(Search search) {
  try {
    return search();
  } catch (const NotebookError& error) {
    throw ApiRefusal(404, error.what());
  }
}

// What `set --json` prints of a change, as much of it as is asked for. `more` gets to see and add
// to the answer.
ApiAnswer ChangeAnswer(const ApiCall& call, const Change::Result& result,
                       const std::vector<std::pair<std::string, Json>>& more = {});

// The form that the request's address names, and nothing in it.
NotebookForm& FormAt(const std::vector<Ref<NotebookForm>>& forms, const ApiCall& call);
// The table, of which nothing more is named.
NotebookTable& TableAt(const std::vector<Ref<NotebookForm>>& forms, const ApiCall& call);

// Refuses with 409 when what the request says that it `was` is not what is there.
void RequirePresent(const ApiCall& call, std::u16string_view present, const std::string& message);

// The families of requests.
std::span<const ApiRoute> FormRoutes();
std::span<const ApiRoute> CellRoutes();
std::span<const ApiRoute> FormulaRoutes();
std::span<const ApiRoute> PreviewRoutes();
std::span<const ApiRoute> StructureRoutes();
std::span<const ApiRoute> ExplainRoutes();
std::span<const ApiRoute> FileRoutes();
std::span<const ApiRoute> DialogRoutes();

// The interface over a notebook, which lives longer.
class NotebookApi final : public Api {
 public:
  explicit NotebookApi(ServedNotebook& notebook) : notebook_(notebook) {}

  ApiAnswer Answer(const ApiRequest& request) override;

 private:
  ServedNotebook& notebook_;
  PageDialogs dialogs_;
};

}  // namespace ktnotebook
