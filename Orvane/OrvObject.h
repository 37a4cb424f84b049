#pragma once

#include <concepts>
#include <utility>

#include "Orvane/Detail/ModelAccessors.h"
#include "Platform/Foundation/Values/Class.h"
#include "Platform/Foundation/Values/NSArray.h"
#include "Platform/Foundation/Values/NSData.h"
#include "Platform/Foundation/Values/NSDate.h"
#include "Platform/Foundation/Values/NSDecimalNumber.h"
#include "Platform/Foundation/Values/NSDictionary.h"
#include "Platform/Foundation/Values/NSEnumerator.h"
#include "Platform/Foundation/Values/NSError.h"
#include "Platform/Foundation/Values/NSKeyValueObserving.h"
#include "Platform/Foundation/Values/NSNumber.h"
#include "Platform/Foundation/Values/NSSet.h"
#include "Platform/Foundation/Values/NSString.h"

namespace orv::detail {
struct ModelAccess;
}

// The base of model objects: one dictionary holds all of an object's state, reads and writes it as a whole, and
// tells observers of each change.
//
//   class Invoice : public OrvObject {
//     ORV_MODEL(Invoice, OrvObject)
//     ORV_DYNAMIC(NSString, title, setTitle)
//     ORV_DYNAMIC(NSNumber, total, setTotal)
//   };
//   Ref<Invoice> invoice = Invoice::initWithJSONFromURL("/home/ada/invoice.json");
//   invoice->setTitle("Lamps");              // the same as (*invoice)["title"] = "Lamps"
//   if (invoice->needsSave()) invoice->writeAsJSON("/home/ada/invoice.json");
//
// An object with identity: equality is identity, `copy` makes a plain OrvObject with the same contents. Objects
// are made by make<T>() and the three factories, never by a constructor alone: these check the class on its
// first use, fill the store and call `configure`. Values are kept as they are given, mutable containers
// included.
//
// The store is absent after a factory failed to read its JSON: reads answer nil and 0, and writes are dropped,
// until setJsonDictionary, or a successful read, makes one. After an import it is an OrvObject of its own that
// wraps the imported values, and every dictionary in the tree is an OrvObject, too.
//
// Not for several threads at a time. Observers are called as NSKeyValueObserving tells, and may let go of the
// object inside of the call.
class ORV_EXPORT OrvObject : public NSKeyValueObserving {
 public:
  using OrvModel = OrvObject;

  // The element that a subscript names: reads as a value, and assigning to it stores.
  class Subscript {
   public:
    operator orv::Value() const { return object_->objectForKeyedSubscript(key_); }
    orv::Value value() const { return *this; }
    const Subscript& operator=(const orv::Value& value) const {
      object_->setObjectForKeyedSubscript(value, key_);
      return *this;
    }
    const Subscript& operator=(const Subscript& other) const { return *this = other.value(); }

   private:
    friend class OrvObject;
    Subscript(OrvObject* object, NSString key) : object_(object), key_(std::move(key)) {}
    OrvObject* const object_;
    const NSString key_;
  };

  OrvObject() = default;  // for make and derived classes
  ~OrvObject() override = default;

  // ---- Creation. make<T>() gives an object with an empty store.

  // What setJsonDictionary makes of the dictionary; nil gives an empty store.
  template <class T = OrvObject>
  static orv::Ref<T> initWithDictionary(const orv::Value& dictionary);
  // What fromJSON makes of a string or data.
  template <class T = OrvObject>
  static orv::Ref<T> initWithJSON(const orv::Value& textOrData);
  // Reads the file; an empty store when there is no regular file at the location.
  template <class T = OrvObject>
  static orv::Ref<T> initWithJSONFromURL(const orv::Value& location);

  // Called once for each new object after its store is filled, when the object is complete: an override may
  // store, observe and hand out references. It does nothing here.
  virtual void configure() {}

  // ---- The store

  // What key-value coding and class listings see of OrvObject itself: needsSave, count, allKeys,
  // keyEnumerator and jsonDictionary.
  static const orv::Class& staticClass();
  const orv::Class* objectClass() const override;

  bool answers(Answer question) const override;
  NSUInteger count() const override;
  NSArray allKeys() const override;
  NSEnumerator keyEnumerator() const;
  orv::Value objectForKey(const NSString& key) const;
  orv::Value objectForKeyedSubscript(const NSString& key) const { return objectForKey(key); }
  orv::Value operator[](const NSString& key) const { return objectForKey(key); }
  Subscript operator[](const NSString& key) { return Subscript(this, key); }
  // Never raises: a key that is no declared property is one of the store.
  orv::Value valueForUndefinedKey(const NSString& key) const override;
  void setValueForUndefinedKey(const orv::Value& value, const NSString& key) override;

  // Stores a value, tells the key's observers, then sets needsSave. A nil value removes the key. Nothing
  // happens when the key holds this very object already (numbers, dates and the like: an equal one of the same
  // type), when it holds its own text, or when the store is absent or the key nil. An equal value that is
  // another object is a change. Kept: a key whose value equals the key's text cannot be changed here any more;
  // documents depend on it.
  virtual void setObject(const orv::Value& object, const NSString& key);
  void setObjectForKeyedSubscript(const orv::Value& object, const NSString& key) { setObject(object, key); }
  // Tells the key's observers when there was a value. Kept: needsSave stays as it is, unlike in setObject.
  void removeObjectForKey(const NSString& key);

  // Whether a property was stored since the last load or save.
  bool needsSave() const { return needsSave_; }
  void setNeedsSave(bool needsSave) { needsSave_ = needsSave; }

  // ---- Dynamic properties

  // What forwarding makes of the name of an accessor: "v@:@" for one that begins with "set", "@@:" for every
  // other, so that none is unknown. nil for nil.
  NSString methodSignatureForSelector(const NSString& selector) const;
  // Calls an accessor by its name, as the members of ORV_DYNAMIC do: "title" answers objectForKey("title"),
  // "setTitle:" does setObject(argument, "title") and answers nil. Every name that begins with "set" sets, one
  // without a colon, too: its last character is left out all the same.
  orv::Value forwardInvocation(const NSString& selector, const orv::Value& argument = orv::Value());

  // ---- Export and import

  // The store as a new tree of plain dictionaries and arrays, without nulls; sets become arrays. Empty for an
  // absent store. Raises NSInvalidArgumentException for a container that contains itself, as everything here
  // does that makes such a tree, unless it says otherwise.
  NSMutableDictionary jsonDictionary() const;
  // Makes a cleaned copy of a dictionary the store, and tells the observers of "allKeys". A model becomes the
  // store itself, and both objects see each other's changes; raises NSInvalidArgumentException when that would
  // make an object its own store. An array has no keys: reads answer nil, writes are dropped, and it is written
  // as it came. nil keeps an existing store and gives an object without one an empty one. needsSave stays as it
  // is.
  void setJsonDictionary(const orv::Value& dictionary);
  // The same as jsonDictionary; what NSObject::jsonObject answers, too.
  orv::Value orv_jsonObject() const { return jsonDictionary(); }
  orv::Value jsonObject() const override;
  // A tree cleaned for export, with plain containers, or for import, with an OrvObject for each dictionary; in
  // both nulls are left out and sets become arrays. Other values are kept as they are. nil for nil and null.
  orv::Value cleanedObject(const orv::Value& object, bool forImport) const;

  // The store as JSON, pretty, with sorted keys. nil when JSON cannot hold it: a date, data, a number that is
  // not finite, a key that is no string, a container that contains itself, or more than 512 levels.
  NSData toJSONData() const;
  // Takes over what a string or data holds and clears needsSave. What does not parse leaves the object as it
  // was, with one Warning.
  bool fromJSON(const orv::Value& textOrData);

  // ---- Files. A location is a file URL, a path or bookmark data. All of these block on the disk.

  // Each replaces the file as a whole, durably: at every moment, also after a crash, it is the old or the new
  // one. Permissions, owner and a symbolic link on the way stay. Success clears needsSave; false, without a
  // line in the log, leaves file and flag as they were. The property list is binary and holds dates and data as
  // well.
  bool writeAsJSON(const orv::Value& location);
  bool writeAsPList(const orv::Value& location);
  // Reads what fromJSON takes; a file that cannot be read is one that does not parse.
  bool readAsJSON(const orv::Value& location);
  // Reads a property list of any format. Clears needsSave also when it fails, with one Warning; the contents
  // stay then.
  bool readAsPList(const orv::Value& location);

  // A plain OrvObject, whatever the class of this one, with a copy of the contents.
  orv::Ref<OrvObject> copy() const;
  orv::Value copyOfObject() const override;
  // "<ClassName", a line break, " _properties=", the store's description and ">". Of models inside of models
  // only the outer eight are shown.
  NSString description() const override;

  // ---- The check of a class

  // Properties that may have storage of their own. A class hides this function with its own.
  static NSSet ignoreDangerousPropertyNames();
  // The names of the class's own properties that have storage and are not to be ignored, in the order of
  // declaration; nil when there are none.
  static NSArray getDangerousPropertyNames(const orv::Class& modelClass,
                                           const NSSet& ignored = ignoreDangerousPropertyNames());
  // Logs an Error and raises the exception "Missing @dynamic" when there are dangerous properties. Done by make
  // and the factories on the first use of each class, its bases first; a class that was refused is refused
  // again.
  static void initialize(const orv::Class& modelClass, const NSSet& ignored = ignoreDangerousPropertyNames());

 protected:
  // The one way of all accessors.
  orv::Value forward(const orv::detail::Accessor& accessor, const orv::Value& argument = orv::Value());
  // The same for a getter.
  orv::Value forwardGetter(const orv::detail::Accessor& accessor) const;
  // A reference for the time in which observers are called, who may let go of the last one; nil when there is
  // nobody to call.
  orv::Ref<OrvObject> heldWhileTelling() const;

 private:
  friend struct orv::detail::ModelAccess;

  // Walks from one store to the next, through the models that wrap others, down to the one that holds values.
  const orv::Value& contents() const noexcept;
  orv::Value exported() const;
  bool wouldWrapItself(const OrvObject& store) const;
  void put(const orv::Value& object, const NSString& key);
  void putAt(size_t entry, const orv::Value& object, const NSString& key);
  bool importJSON(const NSData& data, NSError error);
  void fillFromFile(const orv::Value& location);
  bool save(const NSData& data, const orv::Value& location);

  orv::Value properties_;         // nil, a mutable dictionary, or a model (see setJsonDictionary)
  OrvObject* wrapped_ = nullptr;  // that model
  bool ownsWrapped_ = false;      // an import made it, and nobody else has it
  bool wasWrapped_ = false;       // another model has, or had, this one as its store
  bool needsSave_ = false;
};

namespace orv {
namespace detail {

// Whether a class has an ORV_MODEL of its own; one without adds no properties.
template <class T>
concept DeclaresModel = std::same_as<typename T::OrvModel, T> && !std::same_as<T, OrvObject>;

// The inner steps of creation, and what the cleaner of trees sees of a model.
struct ORV_EXPORT ModelAccess {
  // Refuses a class with dangerous properties. Asked once for each class, not for each object.
  template <class T>
  static void checkClass() {
    if constexpr (DeclaresModel<T>) {
      static const bool checked = [] {
        checkClass<typename T::OrvBase>();
        OrvObject::initialize(T::staticClass(), T::ignoreDangerousPropertyNames());
        return true;
      }();
      static_cast<void>(checked);
    } else if constexpr (!std::same_as<T, OrvObject>) {
      checkClass<typename T::OrvModel>();
    }
  }

  template <class T, class Fill, class... Args>
  static Ref<T> make(const Fill& fill, Args&&... args) {
    checkClass<T>();
    Ref<T> object = Ref<T>::adopt(new T(std::forward<Args>(args)...));
    fill(*object);
    static_cast<OrvObject&>(*object).configure();
    return object;
  }

  static const Value& contents(const OrvObject& model) { return model.contents(); }
  // A model around imported entries, which count as stored one by one.
  static Value imported(const Value& entries);
  static void fillFromFile(OrvObject& model, const Value& location) { model.fillFromFile(location); }
};

}  // namespace detail

template <class T>
concept ModelObject = std::derived_from<T, NSObject> && std::derived_from<T, OrvObject>;

// Makes a model with an empty store; the arguments go to its constructor.
template <ModelObject T, class... Args>
Ref<T> make(Args&&... args) {
  return detail::ModelAccess::make<T>([](OrvObject& model) { model.setJsonDictionary(nil); },
                                      std::forward<Args>(args)...);
}

}  // namespace orv

template <class T>
orv::Ref<T> OrvObject::initWithDictionary(const orv::Value& dictionary) {
  return orv::detail::ModelAccess::make<T>([&](OrvObject& model) { model.setJsonDictionary(dictionary); });
}

template <class T>
orv::Ref<T> OrvObject::initWithJSON(const orv::Value& textOrData) {
  return orv::detail::ModelAccess::make<T>([&](OrvObject& model) { model.fromJSON(textOrData); });
}

template <class T>
orv::Ref<T> OrvObject::initWithJSONFromURL(const orv::Value& location) {
  return orv::detail::ModelAccess::make<T>(
      [&](OrvObject& model) { orv::detail::ModelAccess::fillFromFile(model, location); });
}
