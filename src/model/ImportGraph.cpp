#include "ImportGraph.h"

namespace {

constexpr int Unknown = -1;

QStringList pathsOf(const QList<int> &ids, const QStringList &paths)
{
    QStringList result;
    result.reserve(ids.size());
    for (int id : ids)
        result << paths.at(id);
    return result;
}

} // namespace

int ImportGraph::idOf(const QString &file) const
{
    return m_ids.value(file, Unknown);
}

int ImportGraph::addFile(const QString &file)
{
    const int known = idOf(file);
    if (known != Unknown)
        return known;
    const int id = int(m_paths.size());
    m_ids.insert(file, id);
    m_paths << file;
    m_imports.emplaceBack();
    m_importers.emplaceBack();
    m_recorded << false;
    return id;
}

void ImportGraph::unlinkImports(int file)
{
    for (int imported : std::as_const(m_imports[file]))
        m_importers[imported].removeOne(file);
    m_imports[file].clear();
}

// A file named twice is one edge; a file reading itself is no edge.
void ImportGraph::setImports(const QString &file, const QStringList &imports)
{
    const int id = addFile(file);
    unlinkImports(id);
    m_recorded[id] = true;
    for (const QString &path : imports) {
        const int imported = addFile(path);
        if (imported == id || m_imports.at(id).contains(imported))
            continue;
        m_imports[id] << imported;
        m_importers[imported] << id;
    }
}

void ImportGraph::forgetImportsOf(const QString &file)
{
    const int id = idOf(file);
    if (id == Unknown)
        return;
    unlinkImports(id);
    m_recorded[id] = false;
}

void ImportGraph::clear()
{
    *this = ImportGraph();
}

bool ImportGraph::hasImportsRecorded(const QString &file) const
{
    const int id = idOf(file);
    return id != Unknown && m_recorded.at(id);
}

QStringList ImportGraph::importsOf(const QString &file) const
{
    const int id = idOf(file);
    return id == Unknown ? QStringList() : pathsOf(m_imports.at(id), m_paths);
}

QStringList ImportGraph::importersOf(const QString &file) const
{
    const int id = idOf(file);
    return id == Unknown ? QStringList() : pathsOf(m_importers.at(id), m_paths);
}

bool ImportGraph::isImported(const QString &file) const
{
    const int id = idOf(file);
    return id != Unknown && !m_importers.at(id).isEmpty();
}

// Breadth first over the reverse edges; the start counts as seen, so a cycle
// back to it ends there.
QStringList ImportGraph::dependentsOf(const QString &file) const
{
    const int start = idOf(file);
    if (start == Unknown)
        return {};
    QList<bool> seen(m_paths.size(), false);
    seen[start] = true;
    QList<int> order{start};
    for (qsizetype next = 0; next < order.size(); ++next) {
        for (int importer : m_importers.at(order.at(next))) {
            if (!seen.at(importer)) {
                seen[importer] = true;
                order << importer;
            }
        }
    }
    order.removeFirst();
    return pathsOf(order, m_paths);
}

QHash<QString, QStringList> ImportGraph::allImports() const
{
    QHash<QString, QStringList> imports;
    for (int id = 0; id < m_paths.size(); ++id) {
        if (m_recorded.at(id))
            imports.insert(m_paths.at(id), pathsOf(m_imports.at(id), m_paths));
    }
    return imports;
}
