#include "Orvane/OrvObject.h"

#include <algorithm>
#include <string>
#include <utility>
#include <vector>

#include "Orvane/Detail/ModelTree.h"
#include "Orvane/OrvLog.h"
#include "Platform/Foundation/Files/FileBytes.h"
#include "Platform/Foundation/Files/FileErrors.h"
#include "Platform/Foundation/Files/NSFileManager.h"
#include "Platform/Foundation/Serialization/Detail/JSONWriter.h"
#include "Platform/Foundation/Serialization/NSJSONSerialization.h"
#include "Platform/Foundation/Serialization/NSPropertyListSerialization.h"
#include "Platform/Foundation/Values/Detail/ContainerRep.h"
#include "Platform/Foundation/Values/NSException.h"
#include "Platform/Foundation/Values/NSURL.h"

using namespace orv;

namespace {

constexpr NSUInteger kPretty = NSJSONWritingPrettyPrinted | NSJSONWritingSortedKeys;
constexpr NSUInteger kMutable = NSJSONReadingMutableContainers | NSJSONReadingMutableLeaves;

NSString allKeysKey() {
  static const NSString& key = *new NSString("allKeys");  // kept while the program ends
  return key;
}

// Reads a whole file; nil and an error when that fails.
NSData contentsOf(const Value& location, NSError& error) {
  const NSURL url = zxFileURL(location);
  std::string path;
  if (!detail::systemPath(url, path)) {
    error = detail::invalidPathError(detail::FileAction::Open, location);
    return nil;
  }
  NSData data;
  if (const int number = detail::readFile(path, data))
    error = detail::fileError(number, detail::FileAction::Open, url.path());
  return data;
}

NSError errorOfMissingData() {
  NSError error;
  NSJSONSerialization::JSONObjectWithData(NSData::data(), 0, &error);
  return error;
}

// What a model keeps; another value itself.
const Value& contentsOfModel(const Value& value) {
  const OrvObject* model =
      dynamic_cast<const OrvObject*>(static_cast<const NSObject*>(detail::Access::heap(value)));
  return model ? detail::ModelAccess::contents(*model) : value;
}

// The very same object, and a value that equals its key, are not replaced.
bool staysAsItIs(const Value& old, const Value& object, const NSString& key) {
  return old.isSame(object) || (old.kind() >= Kind::String && old.isEqual(key));
}

// The models that are being described on this thread, from the outside in. Every level escapes the quotes of
// the next one once more, so that the text doubles with each.
constexpr size_t kDeepestDescription = 8;
struct Describing;
constinit thread_local const Describing* innermost = nullptr;

struct Describing {
  explicit Describing(const OrvObject* described) : model(described) { innermost = this; }
  Describing(const Describing&) = delete;
  Describing& operator=(const Describing&) = delete;
  ~Describing() { innermost = outer; }

  bool includes(const OrvObject* wanted) const { return model == wanted || (outer && outer->includes(wanted)); }

  const OrvObject* const model;
  const Describing* const outer = innermost;
  const size_t depth = outer ? outer->depth + 1 : 1;
};

}  // namespace

// ---- Accessors

namespace orv::detail {

Accessor::Accessor(const NSString& selector) : sets(selector.hasPrefix("set")), key(selector) {
  if (!sets) return;
  constexpr NSUInteger kFirst = 3;
  const NSUInteger length = selector.length();
  if (length <= kFirst) {
    key = nil;
    return;
  }
  key = selector.substringWithRange({kFirst, 1}).lowercaseString();
  if (length > kFirst + 2)
    key = key.stringByAppendingString(selector.substringWithRange({kFirst + 1, length - kFirst - 2}));
}

const Accessor& keptAccessor(const char* selector) { return *new Accessor(selector); }

Value ModelAccess::imported(const Value& entries) {
  Ref<OrvObject> model = Ref<OrvObject>::adopt(new OrvObject);
  model->properties_ = entries;
  model->needsSave_ = entries.count() > 0;
  return model;
}

}  // namespace orv::detail

NSString OrvObject::methodSignatureForSelector(const NSString& selector) const {
  if (selector.isNil()) return nil;
  return selector.hasPrefix("set") ? "v@:@" : "@@:";
}

Value OrvObject::forwardInvocation(const NSString& selector, const Value& argument) {
  return selector.isNil() ? Value() : forward(detail::Accessor(selector), argument);
}

Value OrvObject::forward(const detail::Accessor& accessor, const Value& argument) {
  if (!accessor.sets) return objectForKey(accessor.key);
  setObject(argument, accessor.key);
  return nil;
}

// A getter whose name begins with "set" is a setter without an argument.
Value OrvObject::forwardGetter(const detail::Accessor& accessor) const {
  return accessor.sets ? const_cast<OrvObject*>(this)->forward(accessor) : objectForKey(accessor.key);
}

// ---- Class

const Class& OrvObject::staticClass() {
  using Self = OrvObject;
  static const Class& declared =
      *new Class("OrvObject", typeid(OrvObject), nullptr,
                 {ORV_PROPERTY(needsSave, setNeedsSave), ORV_READ_ONLY(count), ORV_READ_ONLY(keyEnumerator),
                  ORV_READ_ONLY(allKeys), ORV_PROPERTY(jsonDictionary, setJsonDictionary)});
  return declared;
}

const Class* OrvObject::objectClass() const { return &staticClass(); }

NSSet OrvObject::ignoreDangerousPropertyNames() { return NSSet::set(); }

NSArray OrvObject::getDangerousPropertyNames(const Class& modelClass, const NSSet& ignored) {
  const NSMutableArray names = NSMutableArray::array();
  for (const Property& property : modelClass.properties())
    if (property.attributes.containsString(",V_") && !ignored.containsObject(property.name))
      names.addObject(property.name);
  return names.count() > 0 ? NSArray(names) : NSArray();
}

void OrvObject::initialize(const Class& modelClass, const NSSet& ignored) {
  const NSArray names = getDangerousPropertyNames(modelClass, ignored);
  if (names.isNil()) return;
  const NSString list = names.componentsJoinedByString(", ");
  OrvLog::sharedObject()->logLevelFormat(
      OrvLogLevelError, __FILE__, __func__, __LINE__, "orv",
      "In class <%@> dangerous properties have been identified. Add the follwing code:\n\n@dynamic %@\n",
      modelClass.name(), list);
  NSException::raise("Missing @dynamic", NSString::stringWithFormat(
                                             "In class <%@> dangerous properties have been identified. Add the "
                                             "follwing code: @dynamic %@",
                                             modelClass.name(), list));
}

// ---- Store

const Value& OrvObject::contents() const noexcept {
  const OrvObject* model = this;
  while (model->wrapped_) model = model->wrapped_;
  return model->properties_;
}

bool OrvObject::answers(Answer question) const {
  return question == Answer::Count || question == Answer::AllKeys || NSKeyValueObserving::answers(question);
}

NSUInteger OrvObject::count() const { return contents().count(); }

NSArray OrvObject::allKeys() const { return contents().as<NSDictionary>().allKeys(); }

NSEnumerator OrvObject::keyEnumerator() const { return contents().as<NSDictionary>().keyEnumerator(); }

Value OrvObject::objectForKey(const NSString& key) const {
  const Value& values = contents();
  if (values.kind() != Kind::Dictionary || key.isNil()) return nil;
  const detail::TableRep* table = detail::tableRep(values);
  const size_t entry = table->find(key);
  return entry == detail::TableRep::kNone ? Value() : table->value(entry);
}

Value OrvObject::valueForUndefinedKey(const NSString& key) const { return objectForKey(key); }

void OrvObject::setValueForUndefinedKey(const Value& value, const NSString& key) { setObject(value, key); }

// An object that is at its end has no references any more.
Ref<OrvObject> OrvObject::heldWhileTelling() const {
  const bool telling = isObserved() || (wrapped_ && !ownsWrapped_);
  if (!telling || refs.load(std::memory_order_relaxed) == 0) return nil;
  return Ref<OrvObject>(const_cast<OrvObject*>(this));
}

void OrvObject::setObject(const Value& object, const NSString& key) {
  if (object.isNil()) return removeObjectForKey(key);
  const Value values = contents();
  if (key.isNil() || values.kind() != Kind::Dictionary) return;
  const detail::TableRep* table = detail::tableRep(values);
  const size_t entry = table->find(key);
  if (entry != detail::TableRep::kNone && staysAsItIs(table->value(entry), object, key)) return;
  const Ref<OrvObject> held = heldWhileTelling();
  const uint64_t mutations = table->mutations;
  willChangeValueForKey(key);
  const bool standsThere = entry != detail::TableRep::kNone && mutations == table->mutations;
  standsThere&& values.isSame(contents()) ? putAt(entry, object, key) : put(object, key);
  // The value is stored, whatever an observer raises.
  struct Mark {
    ~Mark() { changed = true; }
    bool& changed;
  } const mark{needsSave_};
  didChangeValueForKey(key);
}

// A model that is wrapped has rules, observers and a flag of its own. One that an import made is known to
// nobody else, and only its flag matters.
void OrvObject::put(const Value& object, const NSString& key) {
  if (wrapped_ && !ownsWrapped_) return wrapped_->setObject(object, key);
  if (wrapped_) wrapped_->needsSave_ = true;
  contents().as<NSMutableDictionary>().setObjectForKey(object, key);
}

// The same for a key whose place in the table is known.
void OrvObject::putAt(size_t entry, const Value& object, const NSString& key) {
  if (wrapped_ && !ownsWrapped_) return wrapped_->setObject(object, key);
  if (wrapped_) wrapped_->needsSave_ = true;
  const Value replaced = std::exchange(detail::tableRep(contents())->value(entry), object);
}

void OrvObject::removeObjectForKey(const NSString& key) {
  if (objectForKey(key).isNil()) return;
  const Ref<OrvObject> held = heldWhileTelling();
  willChangeValueForKey(key);
  if (wrapped_)
    wrapped_->removeObjectForKey(key);
  else
    properties_.as<NSMutableDictionary>().removeObjectForKey(key);
  didChangeValueForKey(key);
}

// ---- Export and import

Value OrvObject::cleanedObject(const Value& object, bool forImport) const {
  return detail::cleanedTree(object, forImport);
}

Value OrvObject::exported() const {
  Value tree = detail::cleanedTree(contents(), false);
  return tree.isNil() ? Value(NSMutableDictionary::dictionary()) : tree;
}

NSMutableDictionary OrvObject::jsonDictionary() const {
  const NSMutableDictionary dictionary = exported().as<NSMutableDictionary>();
  return dictionary ? dictionary : NSMutableDictionary::dictionary();
}

Value OrvObject::jsonObject() const { return jsonDictionary(); }

// Only a model that others wrap can be found behind them, so that long chains are not walked for each new link.
bool OrvObject::wouldWrapItself(const OrvObject& store) const {
  if (&store == this) return true;
  if (!wasWrapped_) return false;
  const OrvObject* model = &store;
  while (model && model != this) model = model->wrapped_;
  return model == this;
}

void OrvObject::setJsonDictionary(const Value& dictionary) {
  Value store = detail::cleanedTree(dictionary, true);
  const Ref<OrvObject> wrapped = store.as<OrvObject>();
  if (wrapped && wouldWrapItself(*wrapped))
    NSException::raise(NSInvalidArgumentException, "*** A model cannot be its own store.");
  const Ref<OrvObject> held = heldWhileTelling();
  willChangeValueForKey(allKeysKey());
  if (!dictionary.isNil()) {
    properties_.swap(store);
    wrapped_ = wrapped.get();
    ownsWrapped_ = wrapped_ && dictionary.kind() == Kind::Dictionary;
    if (wrapped_) wrapped_->wasWrapped_ = true;
  }
  if (properties_.isNil()) properties_ = NSMutableDictionary::dictionary();
  didChangeValueForKey(allKeysKey());
}

// The text of the cleaned tree, without the tree in between.
NSData OrvObject::toJSONData() const {
  const Value& values = contents();
  const Value tree = values.isNil() ? Value(NSDictionary::dictionary()) : values;
  if (tree.kind() != Kind::Dictionary && tree.kind() != Kind::Array) return nil;
  try {
    return detail::writeModelJSON(tree, kPretty, contentsOfModel);
  } catch (const NSException&) {
    return nil;
  }
}

bool OrvObject::fromJSON(const Value& textOrData) {
  const NSString text = textOrData.as<NSString>();
  return importJSON(text ? text.dataUsingEncoding(NSUTF8StringEncoding) : textOrData.as<NSData>(), nil);
}

// The error tells why there is no data.
bool OrvObject::importJSON(const NSData& data, NSError error) {
  Value tree;
  if (data)
    tree = NSJSONSerialization::JSONObjectWithData(data, kMutable, &error);
  else if (error.isNil())
    error = errorOfMissingData();
  if (tree.isNil()) {
    OrvLogWarning("From JSON failed for json=%@ error=%@", tree, error);
    return false;
  }
  const Ref<OrvObject> held = heldWhileTelling();
  setJsonDictionary(tree);
  needsSave_ = false;
  return true;
}

// ---- Files

bool OrvObject::save(const NSData& data, const Value& location) {
  std::string path;
  if (data.isNil() || !detail::systemPath(zxFileURL(location), path)) return false;
  if (detail::replaceLinkedFile(path, data.view()) != 0) return false;
  needsSave_ = false;
  return true;
}

bool OrvObject::writeAsJSON(const Value& location) { return save(toJSONData(), location); }

bool OrvObject::readAsJSON(const Value& location) {
  NSError error;
  const NSData data = contentsOf(location, error);
  return importJSON(data, error);
}

bool OrvObject::writeAsPList(const Value& location) {
  try {
    return save(
        NSPropertyListSerialization::dataWithPropertyList(exported(), NSPropertyListBinaryFormat_v1_0, 0),
        location);
  } catch (const NSException&) {
    return false;  // a container that contains itself
  }
}

bool OrvObject::readAsPList(const Value& location) {
  NSError error;
  const NSData data = contentsOf(location, error);
  Value tree;
  if (data)
    tree = NSPropertyListSerialization::propertyListWithData(data, NSPropertyListMutableContainersAndLeaves,
                                                             nullptr, &error);
  const Ref<OrvObject> held = heldWhileTelling();
  setJsonDictionary(tree);
  needsSave_ = false;
  if (tree.isNil()) OrvLogWarning("Not able to read JSON path=%@ error=%@", location, error);
  return !tree.isNil();
}

void OrvObject::fillFromFile(const Value& location) {
  const NSURL url = zxFileURL(location);
  if (url && NSFileManager::defaultManager()->zuIsFile(url))
    readAsJSON(url);
  else
    setJsonDictionary(nil);
}

// ---- Copies and text

Ref<OrvObject> OrvObject::copy() const { return initWithDictionary(jsonDictionary()); }

Value OrvObject::copyOfObject() const { return copy(); }

NSString OrvObject::description() const {
  const bool inside = innermost && innermost->includes(this);
  if (inside || (innermost && innermost->depth == kDeepestDescription))
    return NSString::stringWithFormat("<%@ %s>", className(), inside ? "contains itself" : "nested too deeply");
  const Describing describing(this);
  return NSString::stringWithFormat("<%@\n _properties=%@>", className(), properties_);
}
