#include "core/datatypes/CuratorStorage.h"

#include <utility>

#include "core/datatypes/MarkedFloat.h"

namespace zarvo::exp {

namespace {

// Runs undo when the scope ends, also when an exception passes: a walk that stops
// half way leaves no marks behind.
template <class F>
struct OnExit {
    F undo;
    ~OnExit() { undo(); }
};
template <class F>
OnExit(F) -> OnExit<F>;

}  // namespace

CuratorStorage::CuratorStorage(unsigned int curatorCount, FileLoader fileLoader)
    : m_fileLoader(std::move(fileLoader)),
      m_notifier(std::make_shared<ChangeNotifier>(curatorCount)),
      m_onPath(curatorCount, false) {
    initMember();
    m_curators.resize(curatorCount);
}

CuratorStorage::~CuratorStorage() = default;

void CuratorStorage::initMember() {
    m_invalidateDepends = [this](const std::vector<unsigned int>& ids) { invalidateDepends(ids); };
}

std::shared_ptr<Variant> CuratorStorage::getConverted(unsigned int id, const std::type_info& type) {
    return find(id)->getConverted(type);
}

void CuratorStorage::set(unsigned int id, const std::shared_ptr<Variant>& value) { find(id)->set(value); }

void CuratorStorage::removeCurator(unsigned int id) {
    if (id >= m_curators.size()) ZARVO_THROW("ID: " << id << "does not exits!");
    // The slot is empty before the curator goes, whatever its destructor does.
    const std::unique_ptr<Curator> removed = std::move(m_curators[id]);
}

Subscription CuratorStorage::subscribe(unsigned int id, Curator::Callback callback) {
    find(id);
    return m_notifier->subscribe(id, std::move(callback));
}

Subscription CuratorStorage::subscribeAll(Curator::Callback callback) {
    return m_notifier->subscribeAll(std::move(callback));
}

void CuratorStorage::getDependMap(std::map<unsigned int, std::vector<unsigned int>>& dependMap) const {
    dependMap.clear();
    for (unsigned int id = 0; id < m_curators.size(); ++id)
        if (m_curators[id]) dependMap.emplace_hint(dependMap.end(), id, m_curators[id]->getDepends());
}

void CuratorStorage::getAllSourceFiles(std::list<std::string>& files) const {
    files.clear();
    for (const std::unique_ptr<Curator>& curator : m_curators)
        if (curator && !curator->getSourceFileName().empty()) files.push_back(curator->getSourceFileName());
}

void CuratorStorage::replaceDepends(unsigned int id, std::vector<unsigned int> depends) {
    find(id)->setDepends(depends);
}

void CuratorStorage::setGenerator(unsigned int id, std::function<std::shared_ptr<Variant>()>&& generator) {
    find(id)->setGenerator(std::move(generator), std::string());
}

void CuratorStorage::setSourceFile(unsigned int id, std::string fileName) {
    if (!m_fileLoader) ZARVO_THROW("No file loader available for that curator storage!");
    Curator& curator = *find(id);
    curator.setGenerator([loader = m_fileLoader, fileName] { return loader(fileName); }, fileName);
}

void CuratorStorage::setConverter(unsigned int id, Curator::Converter converter) { find(id)->setConverter(converter); }

void CuratorStorage::setConverterMarkedFloat(unsigned int id) {
    Curator& curator = *find(id);
    const std::type_info& type = curator.getTypeInfo();
    if (type != typeid(float) && type != typeid(MarkedFloat))
        ZARVO_THROW("MarkedFloat Converter can only be used with float or MarkedFloat types!Not with Typename: "
                    << zarvo::Exception::typeName(type));
    curator.setConverter(&CuratorStorage::convertMarkedFloat);
}

void CuratorStorage::setMatValidator(unsigned int id, int rows, int cols, int type) {
    Curator& curator = *find(id);
    const std::string typeName = zarvo::Exception::typeName(curator.getTypeInfo());
    if (typeName.find("Mat") == std::string::npos)
        ZARVO_THROW("Data type does not match! "
                    << "Validator type: " << zarvo::Exception::typeName(typeid(cv::Mat))
                    << "!= Curator type: " << typeName << ")!");
    curator.setValidator(
        [rows, cols, type](const std::shared_ptr<Variant>& value) { return validateMat(value, type, rows, cols); });
}

void CuratorStorage::invalidateDepends(const std::vector<unsigned int>& ids) {
    // Every curator the walk invalidates calls back in here with its own list. Such a
    // list is only queued, on top of what the walk still has to do, so the order is
    // depth first while the walk runs in one loop instead of nesting as deep as the graph.
    for (auto id = ids.rbegin(); id != ids.rend(); ++id) m_walk.push_back({*id, false});
    if (m_pWalkRoot != nullptr) return;

    // The curators note their changes as the walk reaches them; the notices go out
    // after the walk (normally later still, when the operation that began it ends).
    ChangeNotifier::Operation operation(m_notifier.get());
    {
        // The walk starts from the list of the curator whose invalidate() began it; that
        // curator is on the path as its list, all others by their marks.
        m_pWalkRoot = &ids;
        OnExit endWalk{[this] {
            for (const WalkStep& step : m_walk)
                if (step.leaving) m_onPath[step.id] = false;
            m_walk.clear();
            m_pWalkRoot = nullptr;
        }};
        while (!m_walk.empty()) {
            const WalkStep step = m_walk.back();
            m_walk.pop_back();
            if (step.leaving) {
                m_onPath[step.id] = false;
                continue;
            }
            Curator& curator = *find(step.id);
            if (m_onPath[step.id] || &curator.getDepends() == m_pWalkRoot)
                ZARVO_THROW("Cyclic curator dependency! ID = " << step.id);
            m_onPath[step.id] = true;
            m_walk.push_back({step.id, true});
            curator.invalidate();
        }
    }
    operation.close();
}

std::shared_ptr<Variant> CuratorStorage::convertMarkedFloat(const std::shared_ptr<Variant>& value,
                                                            const std::type_info& type) {
    const std::type_info& held = value->getTypeInfo();
    if (type == held) return value;
    if (type == typeid(float) && held == typeid(MarkedFloat))
        return std::make_shared<Variant_<const float>>(
            static_cast<const MarkedFloat*>(value->constAddress_imp())->toFloat());
    if (type == typeid(MarkedFloat) && held == typeid(float))
        return std::make_shared<Variant_<const MarkedFloat>>(
            MarkedFloat(*static_cast<const float*>(value->constAddress_imp()), MarkedFloat::Valid));
    return nullptr;
}

bool CuratorStorage::validateMat(const std::shared_ptr<Variant>& value, int type, int rows, int cols) {
    const std::type_info& held = value->getTypeInfo();
    if (held != typeid(cv::Mat) && std::string(held.name()).find("Mat_") == std::string::npos) return false;
    const cv::Mat& matrix = *static_cast<const cv::Mat*>(value->constAddress_imp());
    return matrix.rows == rows && matrix.cols == cols && (matrix.flags & 0xFFF) == type;
}

}  // namespace zarvo::exp
