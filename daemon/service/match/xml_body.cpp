#include "daemon/service/match/xml_body.h"

#include <libxml/parser.h>
#include <libxml/xpathInternals.h>

#include <limits>

namespace vsd {
namespace {

constexpr unsigned long kMaxSteps = 1'000'000;  // of one evaluation
constexpr int kParserOptions = XML_PARSE_NONET | XML_PARSE_NOERROR | XML_PARSE_NOWARNING |
                               XML_PARSE_COMPACT | XML_PARSE_NOCDATA;

struct FreeParser {
  void operator()(xmlParserCtxt* parser) const noexcept { xmlFreeParserCtxt(parser); }
};

const xmlChar* as_xml(const std::string& text) {
  return reinterpret_cast<const xmlChar*>(text.c_str());
}

// Entities are defined in the document type only, so without one there are none to expand.
void refuse_document_type(void* parser, const xmlChar*, const xmlChar*, const xmlChar*) {
  auto* const context = static_cast<xmlParserCtxt*>(parser);
  xmlStopParser(context);
  context->wellFormed = 0;
}

void ignore_error(void*, xmlError*) {}

void keep_error(void* message, xmlError* error) {
  // libxml2 gives no text here, but the place where it stopped.
  *static_cast<std::string*>(message) = "wrong at character " + std::to_string(error->int1 + 1);
}

}  // namespace

std::optional<XPath> XPath::compile(const std::string& text, std::string& error) {
  const std::unique_ptr<xmlXPathContext,
                        decltype([](xmlXPathContext* context) { xmlXPathFreeContext(context); })>
      context(xmlXPathNewContext(nullptr));
  error = "not enough memory";
  if (context == nullptr) {
    return std::nullopt;
  }
  context->userData = &error;
  context->error = keep_error;
  Expression expression(xmlXPathCtxtCompile(context.get(), as_xml(text)));
  if (expression == nullptr) {
    return std::nullopt;
  }
  return XPath(std::move(expression));
}

std::size_t XmlBody::Result::size() const {
  if (object_->type == XPATH_NODESET) {
    const xmlNodeSet* nodes = object_->nodesetval;
    return nodes == nullptr ? 0 : static_cast<std::size_t>(nodes->nodeNr);
  }
  return object_->type == XPATH_NUMBER || xmlXPathCastToBoolean(object_.get()) != 0 ? 1 : 0;
}

std::string XmlBody::Result::text(std::size_t index) const {
  xmlChar* value = object_->type == XPATH_NODESET
                       ? xmlXPathCastNodeToString(object_->nodesetval->nodeTab[index])
                       : xmlXPathCastToString(object_.get());
  std::string text = value == nullptr ? "" : reinterpret_cast<const char*>(value);
  xmlFree(value);
  return text;
}

bool XmlBody::read(std::string_view body) {
  if (state_ != State::unread) {
    return state_ == State::good;
  }
  state_ = State::bad;
  const std::unique_ptr<xmlParserCtxt, FreeParser> parser(xmlNewParserCtxt());
  if (parser == nullptr || body.size() > std::numeric_limits<int>::max()) {
    return false;
  }
  parser->sax->internalSubset = refuse_document_type;
  document_.reset(xmlCtxtReadMemory(parser.get(), body.data(), static_cast<int>(body.size()),
                                    nullptr, nullptr, kParserOptions));
  if (document_ == nullptr || parser->wellFormed == 0) {
    return false;
  }
  context_.reset(xmlXPathNewContext(document_.get()));
  if (context_ == nullptr) {
    return false;
  }
  context_->error = ignore_error;
  context_->opLimit = kMaxSteps;
  state_ = State::good;
  return true;
}

XmlBody::Result XmlBody::evaluate(const XPath& xpath, std::span<const XmlNamespace> namespaces) {
  xmlXPathRegisteredNsCleanup(context_.get());
  for (const XmlNamespace& known : namespaces) {
    xmlXPathRegisterNs(context_.get(), as_xml(known.prefix), as_xml(known.uri));
  }
  context_->opCount = 0;
  context_->node = reinterpret_cast<xmlNode*>(document_.get());
  return Result(xmlXPathCompiledEval(xpath.expression_.get(), context_.get()));
}

void XmlBody::clear() noexcept {
  context_.reset();
  document_.reset();
  state_ = State::unread;
}

}  // namespace vsd
