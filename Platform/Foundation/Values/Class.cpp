#include "Platform/Foundation/Values/Class.h"

namespace orv {

Class::Class(NSString name, const std::type_info& type, const Class* base, std::vector<Property> properties)
    : name_(std::move(name)), type_(&type), base_(base), properties_(std::move(properties)) {}

bool Class::isClassOf(const NSObject& object) const noexcept { return typeid(object) == *type_; }

const Property* Class::property(const NSString& name) const noexcept {
  for (const Property& candidate : properties_)
    if (candidate.name.isEqualToString(name)) return &candidate;
  return base_ ? base_->property(name) : nullptr;
}

void Class::declare(Property property) { properties_.push_back(std::move(property)); }

}  // namespace orv
