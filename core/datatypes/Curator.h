#pragma once

#include <functional>
#include <memory>
#include <string>
#include <typeinfo>
#include <utility>
#include <vector>

#include "core/datatypes/ChangeNotifier.h"
#include "core/datatypes/Variant.h"

namespace zarvo::exp {

class CuratorStorage;

/// One datum with a life of its own: a cached value that a generator produces on
/// demand, a validator admits when it is set, a converter brings into the curator's
/// type, and whose loss is passed on to the curators listed as its dependents.
///
/// State follows from the cache and the generator: Empty (neither), Pending (a
/// generator, no value) or Cached (a value). A generated value is trusted; only set()
/// validates. Dropping a value hands m_depends to the invalidator, which a
/// CuratorStorage binds to its own walk; without one, invalidation stops here.
///
/// getConverted() on a curator that ends up without a value, and set() through a
/// converter that gives an empty pointer, throw and leave the curator as it was.
///
/// Subscribers hear of every admitted set() (Set), dropped value (Invalidated) and
/// refused set() (Refused) once the operation is over (see ChangeNotifier). A
/// curator in a storage shares the storage's notices under its id; subscriptions
/// belong to the curator they were made on, and a copy starts without any.
class ZARVO_EXPORT Curator {
public:
    /// Makes the value on demand.
    using Generator = std::function<std::shared_ptr<Variant>()>;
    /// Admits (true) or refuses a value given to set().
    using Validator = std::function<bool(const std::shared_ptr<Variant>&)>;
    /// The value in the requested type, or an empty pointer if it has none.
    using Converter = std::function<std::shared_ptr<Variant>(const std::shared_ptr<Variant>&, const std::type_info&)>;
    /// Invalidates the curators of the given ids.
    using DependsInvalidator = std::function<void(const std::vector<unsigned int>&)>;
    /// What happened to the value: Set, Invalidated or Refused.
    using Change = ChangeNotifier::Change;
    /// Receives the curator's id (0 for one without storage) and what happened.
    using Callback = ChangeNotifier::Callback;

    /// No value, no functions, no dependents.
    Curator();
    /// Copies every field: the cached Variant is shared, the invalidator kept; the
    /// subscriptions are not copied.
    Curator(const Curator& other);
    /// Drops the value without invalidating anything.
    virtual ~Curator();
    /// Copies every field, in field order; the subscriptions stay those of this curator.
    Curator& operator=(const Curator& other);

    /// The curator's value type; const on it does not count.
    virtual const std::type_info& getTypeInfo() const = 0;

    /// True if a value is cached, or the generator gives one now (it runs on every
    /// call without a cached value; nothing is kept).
    bool available();
    /// The cached field itself, generated first when empty and a generator is
    /// installed; may refer to an empty pointer. Inline: a cached read costs one test.
    const std::shared_ptr<Variant>& get() { return m_pData || !m_generator ? m_pData : get(m_generator); }
    /// The value in type, converted if its own type differs; the result is not cached.
    std::shared_ptr<Variant> getConverted(const std::type_info& type);
    /// Replaces the value by value, converted if needed, validated and announced to
    /// onNewValue. A refused value empties the curator and invalidates the dependents.
    void set(const std::shared_ptr<Variant>& value);
    /// Drops the value and hands the dependents to the invalidator, also when empty.
    void invalidate();

    /// Installs generator (copied) and the name of the file behind it ("" for none).
    /// A cached value stays.
    void setGenerator(const Generator&& generator, std::string sourceFileName);
    /// Installs the validator of set(); a cached value stays.
    void setValidator(const Validator& validator);
    /// Installs the converter into and out of the curator's type; a cached value stays.
    void setConverter(const Converter& converter);
    /// Replaces the list of dependents whole; nothing is invalidated now.
    void setDepends(const std::vector<unsigned int>& depends);
    /// The ids invalidated with this curator, in walk order.
    const std::vector<unsigned int>& getDepends() const { return m_depends; }
    /// The file behind the generator, or "".
    const std::string& getSourceFileName() const { return m_sourceFileName; }
    /// Calls callback with each change of this curator until the handle ends.
    Subscription subscribe(Callback callback);

protected:
    /// For concrete curators that serve a storage: its invalidator and a first list.
    /// There is no setter for the invalidator; this and copying are the ways to one.
    Curator(DependsInvalidator dependsInvalidator, std::vector<unsigned int> depends);

    /// Sees each admitted value of set() while the previous one is still cached.
    virtual void onNewValue(const std::shared_ptr<Variant>& value) = 0;
    /// Hands the dependents to the invalidator; the own value stays.
    void invalidateDepends() const;

private:
    friend class CuratorStorage;
    // Notes change for this curator's subscribers, if anyone listens.
    void notice(Change change) {
        if (m_notices.notifier) m_notices.notifier->note(m_notices.id, change);
    }

    // The generating part of get(), out of line so that callers inline only the test
    // of the cache; an overload of get so that its failures name get.
    const std::shared_ptr<Variant>& get(const Generator& generator);
    // Last stage of set(): type check, validator, onNewValue, cache.
    ZARVO_NO_EXPORT void setImpl(const std::shared_ptr<Variant>& value);

    std::shared_ptr<Variant> m_pData;
    Generator m_generator;
    Validator m_validator;
    Converter m_converter;
    DependsInvalidator m_dependsInvalidator;
    std::string m_sourceFileName;
    std::vector<unsigned int> m_depends;
    // Where the changes go: the storage's notifier under the slot id, or one made for
    // this curator on its first subscribe. Subscriptions belong to one curator, so
    // copying a curator copies everything but this.
    struct Notices {
        std::shared_ptr<ChangeNotifier> notifier;
        unsigned int id = 0;
        Notices() = default;
        Notices(const Notices&) {}
        Notices& operator=(const Notices&) { return *this; }
    };
    Notices m_notices;
};

/// The curator of values of type T. Every admitted set() invalidates the dependents,
/// so they always hear of a new value, whether or not it equals the old one.
template <class T>
class Curator_ : public Curator {
public:
    /// A curator on its own: no invalidator, no dependents.
    Curator_() = default;
    /// A curator whose dropped values are passed on through dependsInvalidator.
    Curator_(DependsInvalidator dependsInvalidator, std::vector<unsigned int> depends)
        : Curator(std::move(dependsInvalidator), std::move(depends)) {}

    /// typeid(T).
    const std::type_info& getTypeInfo() const override { return typeid(T); }

protected:
    /// Invalidates the dependents.
    void onNewValue(const std::shared_ptr<Variant>&) override { invalidateDepends(); }
};

}  // namespace zarvo::exp
