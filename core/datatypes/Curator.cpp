#include "core/datatypes/Curator.h"

#include "valuefault/Exception.h"

namespace zarvo::exp {

Curator::Curator() = default;

Curator::Curator(DependsInvalidator dependsInvalidator, std::vector<unsigned int> depends)
    : m_dependsInvalidator(std::move(dependsInvalidator)), m_depends(std::move(depends)) {}

Curator::Curator(const Curator& other) = default;

Curator::~Curator() = default;

Curator& Curator::operator=(const Curator& other) = default;

bool Curator::available() {
    if (m_pData) return true;
    if (!m_generator) return false;
    return m_generator() != nullptr;
}

const std::shared_ptr<Variant>& Curator::get(const Generator& generator) {
    // A generator that sets other curators has their notices delivered once this
    // value is cached, so that a callback reading it finds it.
    ChangeNotifier::Operation operation(m_notices.notifier.get());
    std::shared_ptr<Variant> generated = generator();
    if (!generated) ZARVO_THROW("Could not generate/load any data! Maybe file name not correct?");
    if (generated->getTypeInfo() == getTypeInfo()) {
        m_pData = std::move(generated);
    } else {
        if (!m_converter)
            ZARVO_THROW("The Generator does not provied the correct data type! "
                        << "template type: " << zarvo::Exception::typeName(getTypeInfo())
                        << "!= generator type: " << zarvo::Exception::typeName(generated->getTypeInfo()) << ")!");
        // Trusted like any generated value: an empty result leaves the curator Pending.
        m_pData = m_converter(generated, getTypeInfo());
    }
    operation.close();
    return m_pData;
}

std::shared_ptr<Variant> Curator::getConverted(const std::type_info& type) {
    const std::shared_ptr<Variant>& value = get();
    if (!value) ZARVO_THROW("No data available to convert! The curator holds no value.");
    if (value->getTypeInfo() == type) return value;
    if (!m_converter) ZARVO_THROW("Data types does not match and there is no converter avaiable!");
    return m_converter(value, type);
}

void Curator::set(const std::shared_ptr<Variant>& value) {
    if (!value) ZARVO_THROW("Data can not be set to an empty pointer - use invalidate to clear data!");
    ChangeNotifier::Operation operation(m_notices.notifier.get());
    if (getTypeInfo() == value->getTypeInfo()) {
        setImpl(value);
    } else {
        if (!m_converter)
            ZARVO_THROW("Datatype of new data does not match and no conversion is available! \ncurator type:"
                        << zarvo::Exception::typeName(getTypeInfo())
                        << " variable type: " << zarvo::Exception::typeName(value->getTypeInfo()));
        const std::shared_ptr<Variant> converted = m_converter(value, getTypeInfo());
        if (!converted)
            ZARVO_THROW("Conversion of new data gave no value! curator type: "
                        << zarvo::Exception::typeName(getTypeInfo())
                        << " variable type: " << zarvo::Exception::typeName(value->getTypeInfo()));
        setImpl(converted);
    }
    // The value and every dependent are settled: now the subscribers hear of them.
    operation.close();
}

void Curator::setImpl(const std::shared_ptr<Variant>& value) {
    if (getTypeInfo() != value->getTypeInfo()) ZARVO_THROW("Type of new data does not match!");
    if (m_validator && !m_validator(value)) {
        // The old value must not outlive a refused successor, and whoever depends
        // on it learns that before the caller sees the refusal.
        notice(Change::Refused);
        invalidate();
        ZARVO_THROW("New value is not valid!");
    }
    // The curator is noticed before the dependents that onNewValue reaches, but only
    // once its value is in place; if the walk fails, the old value stays unannounced.
    if (m_notices.notifier) m_notices.notifier->reserve(m_notices.id);
    onNewValue(value);
    m_pData = value;
    notice(Change::Set);
}

void Curator::invalidate() {
    ChangeNotifier::Operation operation(m_notices.notifier.get());
    m_pData.reset();
    notice(Change::Invalidated);
    invalidateDepends();
    operation.close();
}

void Curator::invalidateDepends() const {
    if (m_dependsInvalidator) m_dependsInvalidator(m_depends);
}

void Curator::setGenerator(const Generator&& generator, std::string sourceFileName) {
    m_sourceFileName = std::move(sourceFileName);
    m_generator = generator;
}

void Curator::setValidator(const Validator& validator) { m_validator = validator; }

void Curator::setConverter(const Converter& converter) { m_converter = converter; }

void Curator::setDepends(const std::vector<unsigned int>& depends) { m_depends = depends; }

Subscription Curator::subscribe(Callback callback) {
    if (!m_notices.notifier) m_notices.notifier = std::make_shared<ChangeNotifier>(1);
    return m_notices.notifier->subscribe(m_notices.id, std::move(callback));
}

}  // namespace zarvo::exp
