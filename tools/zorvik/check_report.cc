#include "check_report.h"

#include <algorithm>
#include <iostream>
#include <sstream>
#include <utility>

#include "command.h"
#include "json.h"
#include "text.h"

namespace pb = google::protobuf;

namespace {

constexpr size_t kMostFindings = 20;

const char* NameOf(Verdict verdict) {
  switch (verdict) {
    case Verdict::kPass:
      return "pass";
    case Verdict::kFail:
      return "fail";
    case Verdict::kNotSettled:
      return "not settled";
    default:
      return "not tested";
  }
}

const char* NameOf(Part part) {
  return part == kCodec ? "codec" : part == kTraffic ? "traffic" : "device";
}

// Text between tags or quotes of XML.
std::string Xml(const std::string& text) {
  std::string escaped;
  for (const char c : Readable(text)) {
    switch (c) {
      case '&':
        escaped += "&amp;";
        break;
      case '<':
        escaped += "&lt;";
        break;
      case '>':
        escaped += "&gt;";
        break;
      case '"':
        escaped += "&quot;";
        break;
      default:
        escaped += c;
    }
  }
  return escaped;
}

// The location of a message, field, enum or enum value.
bool Locate(const std::string& element, const pb::DescriptorPool& pool,
            std::string* file, pb::SourceLocation* location) {
  const auto of = [&](const auto* descriptor, const pb::FileDescriptor* in) {
    *file = in->name();
    return descriptor->GetSourceLocation(location);
  };
  if (const auto* message = pool.FindMessageTypeByName(element)) {
    return of(message, message->file());
  }
  if (const auto* field = pool.FindFieldByName(element)) {
    return of(field, field->file());
  }
  if (const auto* type = pool.FindEnumTypeByName(element)) {
    return of(type, type->file());
  }
  if (const auto* value = pool.FindEnumValueByName(element)) {
    return of(value, value->type()->file());
  }
  return false;
}

}  // namespace

const std::vector<const Rule*>& AllRules() {
  using namespace rules;
  static const std::vector<const Rule*> all = {&kIsEnvelope,
                                               &kTopicType,
                                               &kId,
                                               &kContent,
                                               &kParse,
                                               &kUtf8,
                                               &kEnumNumber,
                                               &kAsked,
                                               &kAnswered,
                                               &kEchoSeq,
                                               &kEchoRandom,
                                               &kEchoTime,
                                               &kEchoPiece,
                                               &kStreamSession,
                                               &kStreamGap,
                                               &kStreamBounds,
                                               &kPieceLength,
                                               &kAsksAddress,
                                               &kHandshake,
                                               &kRegisters,
                                               &kRegisteredType,
                                               &kHeartbeats,
                                               &kAsksTime,
                                               &kUploads,
                                               &kReports,
                                               &kIgnoresMalformed,
                                               &kIgnoresOtherNode,
                                               &kIgnoresOtherContent,
                                               &kProtocol,
                                               &kVectors,
                                               &kFill,
                                               &kTruncated,
                                               &kUnknownFields,
                                               &kUndeclared,
                                               &kText,
                                               &kMerge,
                                               &kForeign,
                                               &kNegativeZero,
                                               &kBounds,
                                               &kJson};
  return all;
}

std::string StatedAt(const std::string& element, const Vocabulary& vocabulary) {
  std::string file;
  pb::SourceLocation location;
  const bool found = Locate(element, *vocabulary.pool(), &file, &location);
  if (file.empty()) return element;
  return file + (found ? ':' + std::to_string(location.start_line + 1) : "") +
         ' ' + element;
}

void AddReportOptions(CLI::App* app, ReportOptions* options) {
  app->add_flag("-j,--json", options->json, "The report as one JSON object")
      ->group("Report");
  app->add_option("--junit", options->junit,
                  "Write the report for a build server, too: JUnit's XML")
      ->type_name("FILE")
      ->group("Report");
  app->add_option("--except", options->except,
                  "Leave a rule out, which is then not tested; may be repeated")
      ->type_name("RULE")
      ->group("Report")
      ->allow_extra_args(false);
}

Report::Report(Part part, std::string about, const ReportOptions& options,
               const Vocabulary* vocabulary)
    : part_(part),
      about_(std::move(about)),
      options_(options),
      vocabulary_(vocabulary) {
  for (const Rule* rule : AllRules()) {
    if ((rule->parts & part) != 0) results_[rule];
  }
  for (const std::string& name : options.except) {
    const auto found = std::find_if(
        results_.begin(), results_.end(),
        [&](const auto& item) { return item.first->name == name; });
    if (found == results_.end()) {
      throw WrongUse(name + " is no rule of this check");
    }
    found->second.excepted = true;
  }
  if (options.junit.empty()) return;
  junit_.open(options.junit);
  CheckJunit();
}

void Report::Add(const Rule& rule, Finding finding) {
  Result& result = results_.at(&rule);
  ++(finding.verdict == Verdict::kFail ? result.failed : result.open);
  for (Finding& known : result.findings) {
    if (known.what == finding.what && known.verdict == finding.verdict) {
      ++known.times;
      return;
    }
  }
  if (result.findings.size() < kMostFindings) {
    result.findings.push_back(std::move(finding));
  }
}

void Report::Fail(const Rule& rule, const std::string& where,
                  const std::string& what, const std::string& element) {
  Add(rule, {Verdict::kFail, where, what, element, 1});
}

void Report::NotSettled(const Rule& rule, const std::string& where,
                        const std::string& what, const std::string& element) {
  Add(rule, {Verdict::kNotSettled, where, what, element, 1});
}

Verdict Report::VerdictOf(const Rule& rule) const {
  const Result& result = results_.at(&rule);
  if (result.excepted) return Verdict::kNotTested;
  if (result.failed > 0) return Verdict::kFail;
  if (result.open > 0) return Verdict::kNotSettled;
  return result.passed > 0 ? Verdict::kPass : Verdict::kNotTested;
}

bool Report::Failed() const {
  bool tested = false;
  for (const auto& [rule, result] : results_) {
    const Verdict verdict = VerdictOf(*rule);
    if (verdict == Verdict::kFail) return true;
    tested = tested || verdict == Verdict::kPass;
  }
  return !tested;
}

std::string Report::ElementOf(const Rule& rule, const Finding& finding) const {
  return StatedAt(finding.element.empty() ? rule.place : finding.element,
                  *vocabulary_);
}

std::string Report::TextOf(const Rule& rule, const Finding& finding) const {
  const std::string element = ElementOf(rule, finding);
  return finding.where + (finding.where.empty() ? "" : ": ") +
         Readable(finding.what) +
         (finding.times > 1
              ? ", and " + std::to_string(finding.times - 1) + " times more"
              : "") +
         (element.empty() ? "" : "\n    " + element);
}

void Report::PrintText() const {
  std::map<Verdict, size_t> counts;
  for (const Rule* rule : AllRules()) {
    const auto found = results_.find(rule);
    if (found == results_.end()) continue;
    const Result& result = found->second;
    const Verdict verdict = VerdictOf(*rule);
    ++counts[verdict];
    std::string line = NameOf(verdict);
    line.resize(13, ' ');
    line += rule->name;
    line.resize(37, ' ');
    if (verdict == Verdict::kFail) {
      line += std::to_string(result.failed) + " of " +
              std::to_string(result.passed + result.failed + result.open);
    } else if (verdict == Verdict::kPass) {
      line += std::to_string(result.passed);
    }
    std::cout << line.substr(0, line.find_last_not_of(' ') + 1) << '\n';
    if (verdict == Verdict::kNotTested) continue;
    if (!result.findings.empty()) std::cout << "  " << rule->sentence << '\n';
    for (const Finding& finding : result.findings) {
      std::cout << "  " << NameOf(finding.verdict) << ": "
                << TextOf(*rule, finding) << '\n';
    }
    uint64_t more = result.failed + result.open;
    for (const Finding& finding : result.findings) more -= finding.times;
    if (more > 0) std::cout << "  and " << more << " more\n";
  }
  std::cout << Readable(about_) << ": " << (Failed() ? "fail" : "pass") << '\n';
  for (const Verdict verdict : {Verdict::kPass, Verdict::kFail,
                                Verdict::kNotSettled, Verdict::kNotTested}) {
    std::cout << (verdict == Verdict::kPass ? "" : ", ") << counts[verdict]
              << ' ' << NameOf(verdict);
  }
  std::cout << '\n';
}

void Report::PrintJson() const {
  std::cout << "{\"check\":\"" << NameOf(part_)
            << "\",\"subject\":" << Quoted(about_) << ",\"verdict\":\""
            << (Failed() ? "fail" : "pass") << "\",\"rules\":[";
  bool first = true;
  for (const Rule* rule : AllRules()) {
    const auto found = results_.find(rule);
    if (found == results_.end()) continue;
    const Result& result = found->second;
    std::cout << (first ? "" : ",") << "{\"rule\":\"" << rule->name
              << "\",\"sentence\":" << Quoted(rule->sentence)
              << ",\"place\":" << Quoted(StatedAt(rule->place, *vocabulary_))
              << ",\"verdict\":\"" << NameOf(VerdictOf(*rule))
              << "\",\"passed\":" << result.passed
              << ",\"failed\":" << result.failed
              << ",\"not_settled\":" << result.open << ",\"findings\":[";
    first = false;
    for (size_t i = 0; i < result.findings.size(); ++i) {
      const Finding& finding = result.findings[i];
      std::cout << (i == 0 ? "" : ",") << "{\"verdict\":\""
                << NameOf(finding.verdict)
                << "\",\"where\":" << Quoted(finding.where)
                << ",\"what\":" << Quoted(finding.what)
                << ",\"times\":" << finding.times
                << ",\"place\":" << Quoted(ElementOf(*rule, finding)) << '}';
    }
    std::cout << "]}";
  }
  std::cout << "]}\n";
}

void Report::CheckJunit() {
  if (!junit_.flush()) {
    throw std::runtime_error(options_.junit + " cannot be written");
  }
}

void Report::WriteJunit() {
  std::ostringstream cases;
  size_t all = 0, failures = 0, skipped = 0;
  for (const Rule* rule : AllRules()) {
    const auto found = results_.find(rule);
    if (found == results_.end()) continue;
    const Verdict verdict = VerdictOf(*rule);
    ++all;
    cases << "  <testcase classname=\"zorvik.check." << NameOf(part_)
          << "\" name=\"" << rule->name << '"';
    if (verdict == Verdict::kPass) {
      cases << "/>\n";
      continue;
    }
    const bool failed = verdict == Verdict::kFail;
    ++(failed ? failures : skipped);
    std::string text;
    for (const Finding& finding : found->second.findings) {
      text += TextOf(*rule, finding) + '\n';
    }
    const char* element = failed ? "failure" : "skipped";
    cases << ">\n    <" << element << " message=\""
          << Xml(failed ? rule->sentence : NameOf(verdict)) << "\">"
          << Xml(text) << "</" << element << ">\n  </testcase>\n";
  }
  junit_ << "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<testsuite name=\""
         << Xml("zorvik check " + std::string(NameOf(part_)) + ": " + about_)
         << "\" tests=\"" << all << "\" failures=\"" << failures
         << "\" errors=\"0\" skipped=\"" << skipped << "\">\n"
         << cases.str() << "</testsuite>\n";
  CheckJunit();
}

int Report::Finish() {
  options_.json ? PrintJson() : PrintText();
  if (!options_.junit.empty()) WriteJunit();
  return Failed() ? 1 : 0;
}

void PrintRules(
    const Vocabulary& vocabulary, bool json,
    const std::function<std::vector<std::string>(const Rule&)>& breakers) {
  std::cout << (json ? "[" : "");
  for (const Rule* rule : AllRules()) {
    std::string parts;
    for (const Part part : {kCodec, kTraffic, kDevice}) {
      if ((rule->parts & part) == 0) continue;
      const std::string name = NameOf(part);
      parts += (parts.empty() ? ""
                : json        ? ","
                              : ", ") +
               (json ? '"' + name + '"' : name);
    }
    std::string broken;
    for (const std::string& kind : breakers(*rule)) {
      broken += (broken.empty() ? ""
                 : json         ? ","
                                : ", ") +
                (json ? Quoted(kind) : kind);
    }
    const std::string place = StatedAt(rule->place, vocabulary);
    if (json) {
      std::cout << (rule == AllRules()[0] ? "" : ",") << "{\"rule\":\""
                << rule->name << "\",\"checks\":[" << parts
                << "],\"sentence\":" << Quoted(rule->sentence)
                << ",\"place\":" << Quoted(place) << ",\"broken_by\":["
                << broken << "]}";
    } else {
      std::cout << rule->name << " (" << parts << ")\n  " << rule->sentence
                << '\n'
                << (place.empty() ? "" : "  " + place + '\n')
                << (broken.empty() ? "" : "  broken by: " + broken + '\n');
    }
  }
  std::cout << (json ? "]\n" : "");
}
