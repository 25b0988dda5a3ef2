#include "notebook/page/api_routes.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <sstream>

#include "notebook/commands/address.h"
#include "notebook/commands/json_output.h"
#include "notebook/commands/problems_output.h"
#include "notebook/files/notebook_error.h"
#include "notebook/files/utf.h"
#include "values/raised_error.h"

namespace ktnotebook {

namespace {

// How many changed cells a brief report lists: more than a screen shows.
constexpr std::size_t kMostBriefCells = 500;

constexpr std::array kFamilies{&FormRoutes,      &CellRoutes,    &FormulaRoutes, &PreviewRoutes,
                               &StructureRoutes, &ExplainRoutes, &FileRoutes,    &DialogRoutes};

std::u16string ReadUtf8(std::string_view bytes, std::string_view what) {
  auto text = FromUtf8(bytes);
  if (!text) throw ApiRefusal(400, std::string(what) + " is not UTF-8");
  return *std::move(text);
}

// What is behind the route's path; nothing when the request is of another.
std::optional<std::string_view> RestBehind(std::string_view path, std::string_view route) {
  if (!route.ends_with('/')) {
    return path == route ? std::optional<std::string_view>("") : std::nullopt;
  }
  if (!path.starts_with(route) || path.size() == route.size()) return std::nullopt;
  return path.substr(route.size());
}

std::string Dump(const Json& json) {
  return json.dump(-1, ' ', false, Json::error_handler_t::replace);
}

// What takes longer to read than to send, or more room than a call has, is refused.
Json ReadBody(const std::string& text) {
  constexpr int kDeepest = 16;
  constexpr std::size_t kMostFields = 1'000;
  std::size_t fields = 0;
  const auto limit = [&fields](int depth, Json::parse_event_t event, const Json&) {
    if (event == Json::parse_event_t::key) ++fields;
    if (depth <= kDeepest && fields <= kMostFields) return true;
    throw ApiRefusal(400, "the request's body is nested too deeply or has too many fields");
  };
  return Json::parse(text, limit, false);
}

ApiAnswer RefusalAnswer(int status, const std::string& message, Json details = Json::object()) {
  Json json{{"error", message}};
  json.update(details);
  return {status, Dump(json) + "\n"};
}

// Runs a request; what it throws is told as a refusal.
template <typename Body>
ApiAnswer Answering(Body body) {
  try {
    return body();
  } catch (const ApiRefusal& refusal) {
    return RefusalAnswer(refusal.Status(), refusal.what(), refusal.Details());
  } catch (const NoSuchPlace& error) {
    return RefusalAnswer(404, error.what());
  } catch (const StoreFailure& error) {
    return RefusalAnswer(error.IsBusy() ? 503 : 500, error.what());
  } catch (const EditRefusal& refusal) {
    return RefusalAnswer(422, ToUtf8(refusal.Reason()));
  } catch (const NotebookError& error) {
    return RefusalAnswer(422, error.what());
  } catch (const ktformula::RaisedError& error) {
    return RefusalAnswer(422, ToUtf8(error.Description()));
  } catch (const std::exception& error) {
    return RefusalAnswer(500, std::string("the program failed: ") + error.what());
  }
}

ApiAnswer Unanswered(const ApiRequest& request, bool is_path_known) {
  return is_path_known
             ? RefusalAnswer(405, "there is no " + request.method + " of /api/" + request.path)
             : RefusalAnswer(404, "there is no /api/" + request.path);
}

}  // namespace

ApiCall::ApiCall(const ApiRequest& request, std::string_view rest, ServedNotebook& notebook,
                 PageDialogs& dialogs)
    : request_(request),
      notebook_(notebook),
      dialogs_(dialogs),
      address_(ReadUtf8(rest, "the address")) {}

std::u16string ApiCall::Query(const std::string& name) const {
  const auto found = request_.query.find(name);
  return found != request_.query.end() ? ReadUtf8(found->second, name) : u"";
}

std::vector<std::u16string> ApiCall::Queries(const std::string& name) const {
  std::vector<std::u16string> values;
  const auto [first, last] = request_.query.equal_range(name);
  for (auto each = first; each != last; ++each)
    values.push_back(ReadUtf8(each->second, name));
  return values;
}

std::size_t ApiCall::QueryNumber(const std::string& name, std::size_t otherwise,
                                 std::size_t most) const {
  const auto found = request_.query.find(name);
  if (found == request_.query.end()) return otherwise;
  const std::string& text = found->second;
  std::size_t number = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  if (error != std::errc() || end != text.data() + text.size() || number > most) {
    throw ApiRefusal(400, name + " is no number from 0 to " + std::to_string(most));
  }
  return number;
}

std::optional<ktformula::Locale> ApiCall::AskedLocale() const {
  if (!HasQuery("locale")) return std::nullopt;
  const auto known = FindLocale(ToUtf8(Query("locale")));
  if (!known) throw ApiRefusal(400, "the locale is not known");
  return known;
}

ktformula::Locale ApiCall::LocaleFor(const NotebookForm& form) const {
  return AskedLocale().value_or(form.OwnLocale().separators);
}

JsonReader ApiCall::Reader() const {
  return {AskedLocale(), /*wants_mends=*/HasQuery("mends")};
}

const Json& ApiCall::Body() const {
  if (!body_) {
    body_ = ReadBody(request_.body);
    if (!body_->is_object()) throw ApiRefusal(400, "the request's body is no JSON object");
  }
  return *body_;
}

const Json* ApiCall::Field(const char* field) const {
  const auto found = Body().find(field);
  return found == Body().end() || found->is_null() ? nullptr : &*found;
}

std::u16string ApiCall::Text(const char* field) const {
  auto text = OptionalText(field);
  if (!text) throw ApiRefusal(400, std::string("the request has no \"") + field + "\"");
  return *std::move(text);
}

std::optional<std::u16string> ApiCall::OptionalText(const char* field) const {
  const Json* const json = Field(field);
  return json != nullptr ? std::optional(TextOf(*json, field)) : std::nullopt;
}

std::optional<std::size_t> ApiCall::OptionalNumber(const char* field) const {
  const Json* const json = Field(field);
  if (json == nullptr) return std::nullopt;
  if (json->is_number_unsigned()) return json->get<std::size_t>();
  throw ApiRefusal(400, std::string("\"") + field + "\" is no whole number from 0 on");
}

bool ApiCall::Flag(const char* field) const {
  const Json* const json = Field(field);
  if (json == nullptr) return false;
  if (json->is_boolean()) return json->get<bool>();
  throw ApiRefusal(400, std::string("\"") + field + "\" is neither true nor false");
}

std::u16string TextOf(const Json& json, std::string_view what) {
  if (!json.is_string()) throw ApiRefusal(400, "\"" + std::string(what) + "\" is no text");
  std::u16string text = ReadUtf8(json.get_ref<const std::string&>(), what);
  if (text.find(u'\0') == text.npos) return text;
  // Neither files nor databases can.
  throw ApiRefusal(422, "a text can not have the character U+0000 in it");
}

ApiAnswer JsonAnswer(const Json& json, int status) {
  return {status, Dump(json) + "\n"};
}

ApiAnswer FormAnswer(std::string json, const ServedForm& served) {
  ApiAnswer answer;
  answer.body = std::move(json);
  answer.headers.emplace_back("Kt-Version", std::to_string(served.stored.version));
  return answer;
}

ApiAnswer ChangeAnswer(const ApiCall& call, const Change::Result& result,
                       const std::vector<std::pair<std::string, Json>>& more) {
  const bool is_brief = call.Query("report") == u"brief";
  NotebookForm& form = result.served->Form();
  std::vector<NotebookCell> cells = result.cells;
  if (is_brief && cells.size() > kMostBriefCells) {
    cells.erase(cells.begin() + kMostBriefCells, cells.end());
  }
  std::vector<FormProblems> problems;
  if (!is_brief) problems.push_back(result.served->Problems());
  std::ostringstream out;
  WriteFormsJson({{&form, result.served->result, std::move(cells)}}, out, problems, call.Reader());
  std::string json = std::move(out).str();
  // In front of the end of the object and the line.
  for (const auto& [name, value] : more)
    json.insert(json.size() - 2, ",\"" + name + "\":" + Dump(value));
  ApiAnswer answer = FormAnswer(std::move(json), *result.served);
  answer.headers.emplace_back("Kt-Changed", std::to_string(result.cells.size()));
  return answer;
}

NotebookForm& FormAt(const std::vector<Ref<NotebookForm>>& forms, const ApiCall& call) {
  // Its name may look like the address of another form's table.
  for (const Ref<NotebookForm>& form : forms) {
    if (form->Name() == call.Address()) return *form;
  }
  const PartAddress part = Found([&] { return FindPart(forms, call.Address()); });
  if (part.field != nullptr) throw ApiRefusal(404, "this is no form");
  return *part.form;
}

NotebookTable& TableAt(const std::vector<Ref<NotebookForm>>& forms, const ApiCall& call) {
  return *Found([&] { return &FindTable(forms, call.Address()); });
}

void RequirePresent(const ApiCall& call, std::u16string_view present, const std::string& message) {
  const auto was = call.OptionalText("was");
  // Texts come and go as UTF-8, where some are the same that are not here.
  if (!was || ToUtf8(*was) == ToUtf8(present)) return;
  throw ApiRefusal(409, message, {{"present", ToUtf8(present)}});
}

ApiAnswer NotebookApi::Answer(const ApiRequest& request) {
  return Answering([&] {
    bool is_path_known = false;
    for (const auto family : kFamilies) {
      for (const ApiRoute& route : family()) {
        const auto rest = RestBehind(request.path, route.path);
        is_path_known |= rest.has_value();
        if (rest && request.method == route.method) {
          return route.handle(ApiCall(request, *rest, notebook_, dialogs_));
        }
      }
    }
    return Unanswered(request, is_path_known);
  });
}

}  // namespace ktnotebook
