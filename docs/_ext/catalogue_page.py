"""The `catalogue` directive: every identifier the library and its host can raise, with its
text, read from the built extension's catalogue when the page is built."""

from docutils import nodes
from docutils.parsers.rst import Directive

PLACEHOLDER = "{0}"


def _groups(entries):
    """(component, [(identifier, text)]) with the host's own identifiers first."""
    groups = {}
    for identifier, text in entries.items():
        parts = identifier.split(":")
        groups.setdefault(parts[1] if len(parts) == 3 else "", []).append((identifier, text))
    return sorted(groups.items(), key=lambda item: (item[0] != "", item[0].lower()))


class Catalogue(Directive):
    has_content = False

    def run(self):
        from vlmathdsp.errors import catalogue
        sections = []
        for component, rows in _groups(catalogue()):
            title = "The host" if not component else component
            section = nodes.section(ids=[nodes.make_id(f"identifiers-{component or 'host'}")])
            section += nodes.title(text=title)
            table = nodes.table()
            group = nodes.tgroup(cols=2)
            table += group
            group += nodes.colspec(colwidth=40)
            group += nodes.colspec(colwidth=60)
            head = nodes.thead()
            head += self._row("Identifier", "Text")
            group += head
            body = nodes.tbody()
            for identifier, text in rows:
                body += self._row(nodes.literal(text=identifier), text.replace(PLACEHOLDER, "…"))
            group += body
            section += table
            sections.append(section)
        return sections

    @staticmethod
    def _row(*cells):
        row = nodes.row()
        for cell in cells:
            entry = nodes.entry()
            entry += nodes.paragraph("", "", cell if isinstance(cell, nodes.Node) else nodes.Text(cell))
            row += entry
        return row


def setup(app):
    app.add_directive("catalogue", Catalogue)
    return {"parallel_read_safe": True}
