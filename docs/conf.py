"""The documentation site: Sphinx with numpydoc, sphinx-gallery, matplotlib and Breathe, built
offline from Debian's packages by scripts/docs.sh."""

import os
import subprocess
import sys

DOCS = os.path.dirname(os.path.abspath(__file__))
ROOT = os.path.dirname(DOCS)
PACKAGE = os.environ.get("VLMATHDSP_PACKAGE_PATH", os.path.join(ROOT, "build", "python"))
OUT = os.environ.get("VLMATHDSP_DOCS_BUILD", os.path.join(ROOT, "build", "docs"))
sys.path[:0] = [PACKAGE, os.path.join(DOCS, "_ext")]

import vlmathdsp  # noqa: E402  (from the build named above)

project = "vlmathdsp"
author = "the vlmathdsp developers"
copyright = "2026, the vlmathdsp developers"
release = vlmathdsp.__version__
version = release

extensions = [
    "sphinx.ext.autodoc",
    "sphinx.ext.autosummary",
    "numpydoc",
    "sphinx_gallery.gen_gallery",
    "matplotlib.sphinxext.plot_directive",
    "breathe",
    "catalogue_page",
    "benchmark_page",
]

html_theme = "furo"
html_title = "vlmathdsp"
html_static_path = []
templates_path = ["_templates"]
exclude_patterns = ["_build", "examples"]
nitpicky = True
# Types named in prose or signatures that have no page of their own here.
nitpick_ignore_regex = [
    ("py:class", r"(numpy|np|torch|dask|scipy|distributed|optional|array_like|array|ndarray|tensor|Tensor"
                 r"|callable|sequence|iterable|dtype|scalar|default|str|int|float|bool|complex|tuple|list|dict"
                 r"|None|object|slice|type|module|function|or|of|ints|floats|arrays|shape).*"),
]
nitpick_ignore = [("cpp:identifier", name) for name in ("size_t", "uint64_t", "int32_t", "uint32_t", "std")]
default_role = "code"

autosummary_generate = True
autodoc_default_options = {"members": False}
numpydoc_show_class_members = False
numpydoc_class_members_toctree = False
numpydoc_xref_param_type = False
add_module_names = False

plot_html_show_source_link = False
plot_html_show_formats = False
plot_formats = [("png", 100)]

sphinx_gallery_conf = {
    "examples_dirs": "examples",
    "gallery_dirs": "auto_examples",
    "filename_pattern": r"/plot_",
    "download_all_examples": False,
    "remove_config_comments": True,
    "abort_on_example_error": True,
}

# The C++ embedding API: Doxygen's XML of the public header, rendered by Breathe.
DOXYGEN_XML = os.path.join(OUT, "doxygen", "xml")
breathe_projects = {"vlhost": DOXYGEN_XML}
breathe_default_project = "vlhost"
breathe_default_members = ("members",)


def _doxygen(app):
    os.makedirs(os.path.dirname(DOXYGEN_XML), exist_ok=True)
    settings = "\n".join([
        f"INPUT = {os.path.join(ROOT, 'host', 'embed.hpp')} {os.path.join(ROOT, 'module', 'host_interface.hpp')}",
        f"OUTPUT_DIRECTORY = {os.path.dirname(DOXYGEN_XML)}",
        "GENERATE_XML = YES", "GENERATE_HTML = NO", "GENERATE_LATEX = NO",
        "EXTRACT_ALL = YES", "QUIET = YES", "WARNINGS = NO", "ENABLE_PREPROCESSING = YES",
        "MACRO_EXPANSION = NO", "XML_PROGRAMLISTING = NO", "AUTOLINK_SUPPORT = NO", "SHOW_INCLUDE_FILES = NO",
    ])
    subprocess.run(["doxygen", "-"], input=settings, text=True, check=True)


def setup(app):
    app.connect("builder-inited", _doxygen)
