#pragma once

#include <cstddef>
#include <functional>
#include <list>
#include <map>
#include <memory>
#include <string>
#include <typeinfo>
#include <vector>

#include "core/datatypes/Curator.h"
#include "core/datatypes/Variant.h"
#include "valuefault/Exception.h"

namespace zarvo::exp {

/// A fixed number of numbered slots, each holding at most one curator. The storage
/// turns the ids in the curators' dependency lists into one invalidation graph,
/// lends the curators a file loader, and offers a float/MarkedFloat converter and a
/// validator for matrices of one shape and element type.
///
/// Invalidation runs depth first in list order; a curator reached on two ways is
/// invalidated twice, and so are its dependents. An id met again on the current path
/// of the walk (a curator listing itself included) ends the walk with "Cyclic curator
/// dependency! ID = " and that id. A listed id without curator ends it with the
/// message of find(). Either way what was invalidated up to there stays so.
///
/// The walk is one loop over an explicit stack: a curator it invalidates hands its
/// list back to the storage, which queues it in front of the rest. The order is that
/// of nested calls, but a chain of any length costs no call depth.
///
/// Subscribers of an id, or of all ids, hear what happened to its curator once the
/// operation that changed it is over: Set, Invalidated or Refused, once per curator
/// per operation even where the walk reaches it twice, in the order the walk first
/// reached the curators (see ChangeNotifier for re-entry, exceptions and the bound
/// on rounds). Subscriptions belong to the id, whichever curator fills its slot.
///
/// The bound invalidator holds the storage's address, so a storage is neither copied
/// nor moved.
class ZARVO_EXPORT CuratorStorage {
public:
    /// Reads the value held in the named file.
    using FileLoader = std::function<std::shared_ptr<Variant>(const std::string&)>;

    /// curatorCount empty slots; fileLoader stands behind setSourceFile().
    explicit CuratorStorage(unsigned int curatorCount = 0, FileLoader fileLoader = FileLoader());
    /// Not copyable: the bound invalidator holds this storage's address.
    CuratorStorage(const CuratorStorage&) = delete;
    /// Not assignable, for the same reason.
    CuratorStorage& operator=(const CuratorStorage&) = delete;
    /// Destroys the curators from slot 0 upward without invalidating any.
    ~CuratorStorage();

    /// @name Slots and their values
    /// @{

    /// Fills the empty slot id with a new Curator_<T> that carries this storage's
    /// invalidator and depends. Throws for an id at or above the slot count
    /// ("No Curator available for requested ID! ID = ") and for a filled slot
    /// ("Curator slot is already in use! ID = ").
    template <class T>
    Curator_<T>& addCurator(unsigned int id, std::vector<unsigned int> depends = {});

    /// The filled slot id; throws for an id at or above the slot count and for an empty slot.
    std::unique_ptr<Curator>& find(unsigned int id);
    /// The curator's value, generated if needed; never empty (throws instead).
    const std::shared_ptr<Variant>& get(unsigned int id);
    /// The curator's value in type (Curator::getConverted).
    std::shared_ptr<Variant> getConverted(unsigned int id, const std::type_info& type);
    /// Sets the curator's value (Curator::set).
    void set(unsigned int id, const std::shared_ptr<Variant>& value);
    /// Empties slot id (an empty slot is no error); invalidates nothing.
    void removeCurator(unsigned int id);
    /// @}

    /// @name Change notices
    /// @{

    /// Calls callback(id, change) with each change of the filled slot id until the
    /// handle ends; throws for an id at or above the slot count and for an empty slot.
    Subscription subscribe(unsigned int id, Curator::Callback callback);
    /// Calls callback(id, change) with each change of any curator until the handle ends.
    Subscription subscribeAll(Curator::Callback callback);
    /// @}

    /// Number of slots, empty ones included.
    size_t getCuratorCount() const { return m_curators.size(); }
    /// Clears dependMap, then adds every filled slot's id with its dependency list.
    void getDependMap(std::map<unsigned int, std::vector<unsigned int>>& dependMap) const;
    /// Clears files, then appends each filled slot's non-empty file name in id order.
    void getAllSourceFiles(std::list<std::string>& files) const;
    /// Replaces the curator's dependency list; any ids are taken, none is checked now.
    void replaceDepends(unsigned int id, std::vector<unsigned int> depends);
    /// Installs generator (copied) and wipes the curator's file name.
    void setGenerator(unsigned int id, std::function<std::shared_ptr<Variant>()>&& generator);
    /// Installs the file loader, bound to fileName, as the curator's generator. The
    /// loader is checked before the id.
    void setSourceFile(unsigned int id, std::string fileName);
    /// Installs converter on the curator.
    void setConverter(unsigned int id, Curator::Converter converter);
    /// Installs the float/MarkedFloat converter on a float or MarkedFloat curator.
    void setConverterMarkedFloat(unsigned int id);
    /// Installs a validator admitting only matrices of rows x cols with type code
    /// type, on a curator whose type name contains "Mat".
    void setMatValidator(unsigned int id, int rows, int cols, int type);

private:
    ZARVO_NO_EXPORT void initMember();
    // The walk behind every curator's invalidator: invalidates ids in order, each
    // with its own dependents before the next.
    ZARVO_NO_EXPORT void invalidateDepends(const std::vector<unsigned int>& ids);
    // value itself if it already has type; float <-> MarkedFloat in const holders;
    // otherwise an empty pointer.
    static ZARVO_NO_EXPORT std::shared_ptr<Variant> convertMarkedFloat(const std::shared_ptr<Variant>& value,
                                                                       const std::type_info& type);
    // value is a cv::Mat (or cv::Mat_) of exactly rows x cols and type code type.
    static ZARVO_NO_EXPORT bool validateMat(const std::shared_ptr<Variant>& value, int type, int rows, int cols);

    Curator::DependsInvalidator m_invalidateDepends;
    std::vector<std::unique_ptr<Curator>> m_curators;
    FileLoader m_fileLoader;
    // Shared with the curators, so that the last of them may outlive the storage.
    std::shared_ptr<ChangeNotifier> m_notifier;
    // One step of the walk: invalidate id, or take it off the path again once all
    // that it lists is done.
    struct WalkStep {
        unsigned int id;
        bool leaving;
    };

    // The walk in progress: the list it started from (that of the curator whose
    // invalidate() began it), the steps still to take, the next one last, and a mark
    // per slot on the current path, so that a repeat on the path is known at once.
    const std::vector<unsigned int>* m_pWalkRoot = nullptr;
    std::vector<WalkStep> m_walk;
    std::vector<bool> m_onPath;
};

template <class T>
Curator_<T>& CuratorStorage::addCurator(unsigned int id, std::vector<unsigned int> depends) {
    if (id >= m_curators.size()) ZARVO_THROW("No Curator available for requested ID! ID = " << id);
    if (m_curators[id]) ZARVO_THROW("Curator slot is already in use! ID = " << id);
    auto curator = std::make_unique<Curator_<T>>(m_invalidateDepends, std::move(depends));
    curator->m_notices.notifier = m_notifier;
    curator->m_notices.id = id;
    Curator_<T>& added = *curator;
    m_curators[id] = std::move(curator);
    return added;
}

// find() and get() are inline so that reading a cached value costs the index test,
// the slot test and the pointer test, with no call into the library.
inline std::unique_ptr<Curator>& CuratorStorage::find(unsigned int id) {
    if (id >= m_curators.size()) ZARVO_THROW("No Curator available for requested ID! ID = " << id);
    if (!m_curators[id]) ZARVO_THROW("Try to access empty curator! ID = " << id);
    return m_curators[id];
}

inline const std::shared_ptr<Variant>& CuratorStorage::get(unsigned int id) {
    const std::shared_ptr<Variant>& value = find(id)->get();
    if (!value) ZARVO_THROW("No data available for requested curator: ID = " << id);
    return value;
}

}  // namespace zarvo::exp
