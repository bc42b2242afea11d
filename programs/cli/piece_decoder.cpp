// piece_decoder.cpp - the tokenizers of the library, one per kind of answer.
#include "piece_decoder.h"

#include <cmpiutility/stream.h>

#include <exception>
#include <utility>
#include <string>

#include "cli_error.h"

namespace cli {
namespace {

Outcome take_status(CMPIStatus st) {
  Outcome outcome;
  outcome.code = static_cast<int>(st.rc);
  outcome.message = take_text(st.msg);
  return outcome;
}

// Runs a tokenizer; what the JSON library raises on a malformed frame is a broken answer.
template <class Call>
auto decode(Call call) -> decltype(call()) {
  try {
    return call();
  } catch (const std::exception &e) {
    throw ConnectionError(std::string("the answer could not be decoded: ") + e.what());
  }
}

// The next data frame of an enumeration (a null value when there is none).
Json::Value next_frame(Answer *answer) {
  if (answer->frames.empty()) return Json::Value();
  Json::Value frame = std::move(answer->frames.front());
  answer->frames.pop_front();
  return frame;
}

Outcome decode_enumeration(const wire::Operation &op, const char *piece, char **carry,
                           uint32_t *complete, Answer *answer, Output &out) {
  const CMPIType element = op.results == wire::Results::kPaths ? CMPI_ref : CMPI_instance;
  CMPIStatus made = {CMPI_RC_OK, nullptr};
  ArrayPtr array(makeNewCMPIArray(0, element, &made));
  if (!array) throw CimError(CMPI_RC_ERR_FAILED, "cannot make a result array");
  Outcome outcome = take_status(
      decode([&] { return CMUtilEnumStringTokenize(piece, array.get(), carry, complete); }));
  const CMPICount n = CMGetArrayCount(array.get(), nullptr);
  for (CMPICount i = 0; i < n; ++i) {
    OwnedData d(CMGetArrayElementAt(array.get(), i, nullptr));
    const CMPIValue value = d.value();
    // Each result came in one data frame, in order.
    const Json::Value frame = next_frame(answer);
    if (d.is_null()) continue;
    if (element == CMPI_ref) {
      if (value.ref != nullptr) out.add_path(value.ref);
    } else if (value.inst != nullptr) {
      out.add_instance(value.inst, frame["InstanceProps"]);
    }
  }
  return outcome;
}

Outcome decode_instance(const char *piece, char **carry, uint32_t *complete, Answer *answer) {
  CMPIInstance *got = nullptr;
  Outcome outcome =
      take_status(decode([&] { return CMUtilGETStringTokenize(piece, &got, carry, complete); }));
  if (got != nullptr) answer->instance.reset(got);
  return outcome;
}

Outcome decode_class(const char *piece, char **carry, uint32_t *complete, Answer *answer) {
  CMPIConstClass *got = nullptr;
  Outcome outcome = take_status(
      decode([&] { return CMUtilGETClassStringTokenize(piece, &got, carry, complete); }));
  if (got != nullptr) answer->cls.reset(got);
  return outcome;
}

Outcome decode_method(const char *piece, char **carry, uint32_t *complete, Answer *answer) {
  return take_status(decode([&] {
    return CMUtilInvokeStringTokenize(piece, answer->out.get(), &answer->return_type, carry,
                                      complete);
  }));
}

Outcome decode_set_status(const char *piece, char **carry) {
  CMPIStatus st = {CMPI_RC_OK, nullptr};
  decode([&] {
    CMUtilSETStringTokenize(piece, carry, &st);
    return 0;
  });
  return take_status(st);
}

Outcome decode_create_status(const char *piece, char **carry) {
  CMPIStatus st = {CMPI_RC_OK, nullptr};
  const Outcome cloned = take_status(
      decode([&] { return CMUtilCreateInstStringTokenize(piece, nullptr, carry, &st); }));
  Outcome reported = take_status(st);
  // The returned status is that of copying the new path, or an error frame's code.
  if (cloned.code != CMPI_RC_OK) {
    reported.code = cloned.code;
    if (reported.message.empty()) reported.message = cloned.message;
  }
  return reported;
}

}  // namespace

void prepare_answer(const wire::Operation &op, Answer *answer, Output &out) {
  if (op.tokenizer == wire::Tokenizer::kEnum) {
    out.start_list(op.results == wire::Results::kPaths ? "paths" : "instances");
  } else if (op.tokenizer == wire::Tokenizer::kInvoke) {
    CMPIStatus made = {CMPI_RC_OK, nullptr};
    answer->out.reset(makeNewCMPIArgs(&made));
    if (!answer->out) throw CimError(CMPI_RC_ERR_FAILED, "cannot make an argument list");
  }
}

Outcome decode_piece(const wire::Operation &op, const char *piece, char **carry,
                     uint32_t *complete, Answer *answer, Output &out) {
  switch (op.tokenizer) {
    case wire::Tokenizer::kEnum:
      return decode_enumeration(op, piece, carry, complete, answer, out);
    case wire::Tokenizer::kGet:
      return decode_instance(piece, carry, complete, answer);
    case wire::Tokenizer::kGetClass:
      return decode_class(piece, carry, complete, answer);
    case wire::Tokenizer::kSet:
      return decode_set_status(piece, carry);
    case wire::Tokenizer::kCreate:
      return decode_create_status(piece, carry);
    case wire::Tokenizer::kInvoke:
      return decode_method(piece, carry, complete, answer);
  }
  throw CimError(CMPI_RC_ERR_FAILED, "no tokenizer for this operation");
}

}  // namespace cli
