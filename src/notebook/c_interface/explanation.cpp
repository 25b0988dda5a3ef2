// Explanations for C.
#include <cstddef>
#include <map>
#include <memory>
#include <mutex>
#include <utility>
#include <vector>

#include "notebook/c_interface/call.h"
#include "notebook/c_interface/results.h"

namespace ktnotebook {

namespace {

using ktformula9::Step;

struct ExplanationObject final : HandleObject {
  static constexpr const char* kKind = "an explanation";
  explicit ExplanationObject(ktformula9::Explanation of) : own(std::move(of)) {}

  const ktformula9::Explanation own;
  // Of the steps that somebody asked for; they go with the explanation.
  std::mutex mutex;
  std::map<const Step*, PassingHandle<ktf9_step>> handles;
};

struct StepObject final : HandleObject {
  static constexpr const char* kKind = "a step";
  StepObject(std::weak_ptr<ExplanationObject> in, const Step& of)
      : explanation(std::move(in)), own(of) {}

  const std::weak_ptr<ExplanationObject> explanation;
  const Step& own;
};

// A step in the use of this call.
class UsedStep {
 public:
  explicit UsedStep(const ktf9_step* step)
      : object_(Need<StepObject>(step, "step")), explanation_(object_->explanation.lock()) {
    if (!explanation_)
      throw CallFailure(KTF9_GONE, "step", "step belonged to an explanation that was destroyed");
  }

  const Step* operator->() const { return &object_->own; }
  const std::shared_ptr<ExplanationObject>& OwnExplanation() const { return explanation_; }

 private:
  std::shared_ptr<StepObject> object_;
  std::shared_ptr<ExplanationObject> explanation_;
};

const ktf9_step* HandleOf(const std::vector<Step>& steps, std::size_t index,
                          const std::shared_ptr<ExplanationObject>& explanation) {
  RequireIndex(index, steps.size());
  const Step& step = steps[index];
  const std::scoped_lock lock(explanation->mutex);
  const auto known = explanation->handles.find(&step);
  if (known != explanation->handles.end()) return known->second.Get();
  PassingHandle<ktf9_step> handle(std::make_shared<StepObject>(explanation, step));
  return explanation->handles.emplace(&step, std::move(handle)).first->second.Get();
}

}  // namespace

void GiveExplanation(ktformula9::Explanation explanation, ktf9_explanation*& place) {
  Give(std::make_shared<ExplanationObject>(std::move(explanation)), place);
}

}  // namespace ktnotebook

using namespace ktnotebook;

ktf9_status ktf9_explanation_get(const ktf9_explanation* explanation, ktf9_explanation_view* view,
                                 ktf9_error** error) {
  return Call(error, [&] {
    const auto object = Need<ExplanationObject>(explanation, "explanation");
    const ktformula9::Explanation& own = object->own;
    ktf9_explanation_view& place = NeedStruct(view, "view");
    place.cell = ViewOf(own.cell);
    place.text = ViewOf(own.text);
    place.origin = ViewOf(own.origin);
    place.formula = ViewOf(own.formula);
    place.error_from = ViewOf(own.error_from);
    place.steps = own.steps.size();
    place.pattern = ViewOf(own.pattern);
    place.digits_from = ViewOf(own.digits_from);
    place.unit = ViewOf(own.unit);
    place.unit_from = ViewOf(own.unit_from);
    place.story = ViewOf(own.story);
  });
}

ktf9_status ktf9_explanation_value(const ktf9_explanation* explanation, ktf9_value_view* view,
                                   ktf9_error** error) {
  return Call(error, [&] {
    const auto object = Need<ExplanationObject>(explanation, "explanation");
    ShowValue(object->own.value, NeedStruct(view, "view"));
  });
}

ktf9_status ktf9_explanation_step(const ktf9_explanation* explanation, size_t index,
                                  const ktf9_step** step, ktf9_error** error) {
  Clear(step);
  return Call(error, [&] {
    const auto object = Need<ExplanationObject>(explanation, "explanation");
    NeedPlace(step, "step") = HandleOf(object->own.steps, index, object);
  });
}

ktf9_status ktf9_explanation_destroy(ktf9_explanation* explanation, ktf9_error** error) {
  return Call(error, [&] { Destroy<ExplanationObject>(explanation, "explanation"); });
}

ktf9_status ktf9_step_get(const ktf9_step* step, ktf9_step_view* view, ktf9_error** error) {
  return Call(error, [&] {
    const UsedStep own(step);
    ktf9_step_view& place = NeedStruct(view, "view");
    place.source = ViewOf(own->source);
    place.origin = ViewOf(own->origin);
    place.cell = ViewOf(own->cell);
    place.text = ViewOf(own->text);
    place.formula = ViewOf(own->formula);
    place.error_from = ViewOf(own->error_from);
    place.steps = own->steps.size();
    place.more_rows = own->more_rows;
  });
}

ktf9_status ktf9_step_value(const ktf9_step* step, ktf9_value_view* view, ktf9_error** error) {
  return Call(error, [&] {
    const UsedStep own(step);
    ShowValue(own->value, NeedStruct(view, "view"));
  });
}

ktf9_status ktf9_step_step(const ktf9_step* step, size_t index, const ktf9_step** below,
                           ktf9_error** error) {
  Clear(below);
  return Call(error, [&] {
    const UsedStep own(step);
    NeedPlace(below, "below") = HandleOf(own->steps, index, own.OwnExplanation());
  });
}
