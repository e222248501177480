// Companies, jobs and goods.
#include "libwzfaker/faker_class.h"

namespace wz::faker {
namespace {

void make_sku(Draw& draw) {
  expand(draw, "??%-####");
}

constexpr ClassDefinition kClasses[] = {
    {"company.name", "company", from_list<Section::company>, kLocaleRule},
    {"company.suffix", "legal form", from_list<Section::company_suffix>, kLocaleRule},
    {"company.department", "department", from_list<Section::department>, kLocaleRule},
    {"company.job", "occupation", from_list<Section::job>, kLocaleRule},
    {"company.slogan", "slogan", from_list<Section::slogan>},
    {"commerce.product", "product", from_list<Section::product>},
    {"commerce.category", "category of products", from_list<Section::product_category>},
    {"commerce.sku", "stock keeping unit", make_sku},
    {"color.name", "colour", from_list<Section::colour>, kLocaleRule},
};

}  // namespace

std::span<const ClassDefinition> business_classes() {
  return kClasses;
}

}  // namespace wz::faker
