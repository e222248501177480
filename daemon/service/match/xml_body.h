// An XML body, read at most once per request and only when a condition asks for it. Nothing is
// fetched and no entity is defined by a request: a body with a document type is refused.
#pragma once

#include <libxml/tree.h>
#include <libxml/xpath.h>

#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>

namespace vsd {

struct XmlNamespace {
  std::string prefix;
  std::string uri;
};

// A compiled expression. It consists of pointers and therefore belongs to one process.
class XPath {
 public:
  // Nothing, and the reason in `error`, when `text` is no XPath expression.
  [[nodiscard]] static std::optional<XPath> compile(const std::string& text, std::string& error);

 private:
  friend class XmlBody;
  struct Free {
    void operator()(xmlXPathCompExpr* expression) const noexcept {
      xmlXPathFreeCompExpr(expression);
    }
  };
  using Expression = std::unique_ptr<xmlXPathCompExpr, Free>;
  explicit XPath(Expression expression) : expression_(std::move(expression)) {}

  Expression expression_;
};

class XmlBody {
 public:
  // What an expression yields. Valid until the body is forgotten.
  class Result {
   public:
    explicit Result(xmlXPathObject* object) : object_(object) {}
    // Whether the expression could be evaluated within its limits.
    [[nodiscard]] bool is_good() const { return object_ != nullptr; }
    // Number of texts: the nodes found, or 1 for a string, a number and `true`; 0 for `false` and
    // the empty string.
    [[nodiscard]] std::size_t size() const;
    [[nodiscard]] std::string text(std::size_t index) const;

   private:
    struct Free {
      void operator()(xmlXPathObject* object) const noexcept { xmlXPathFreeObject(object); }
    };
    std::unique_ptr<xmlXPathObject, Free> object_;
  };

  // Whether `body` is XML. After the first call for a request the answer is known.
  bool read(std::string_view body);
  [[nodiscard]] Result evaluate(const XPath& xpath, std::span<const XmlNamespace> namespaces);
  // Forgets the body.
  void clear() noexcept;

 private:
  struct Free {
    void operator()(xmlDoc* document) const noexcept { xmlFreeDoc(document); }
    void operator()(xmlXPathContext* context) const noexcept { xmlXPathFreeContext(context); }
  };
  enum class State { unread, good, bad };

  State state_ = State::unread;
  std::unique_ptr<xmlDoc, Free> document_;
  std::unique_ptr<xmlXPathContext, Free> context_;
};

}  // namespace vsd
