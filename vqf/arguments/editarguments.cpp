#include <vqf/arguments/editarguments.h>

namespace zd::tool {

void EditArguments::addTo(const Syntax& syntax, const char* force)
{
    syntax.flag("-f,--force", m_force, force);
    m_wait.addTo(syntax);
}

movietools::WithoutJournal EditArguments::withoutJournal() const
{
    return m_force ? movietools::WithoutJournal::GoOn : movietools::WithoutJournal::Refuse;
}

const char* const editNote = R"(

A movie that another program records or changes is left alone; --wait waits for it. During the change a journal beside
the movie (MOVIE-journal) protects it: after a crash the next edit, or "vqf recover --in-place", puts it back. Where no
journal can be made, or its name is taken by another file, the change is refused; with --force it is made all the same,
and a crash then may leave a movie that only "vqf recover" puts together again. DATAIO_LOCKING=0 in the environment turns
locking off, for network file systems whose locks hang.)";

} // namespace zd::tool
