# SPDX-License-Identifier: Apache-2.0
# Run by doxygen over the two guides (FILTER_PATTERNS in Doxyfile.in): links
# written for reading the pages as files point at the pages doxygen makes of
# them. The user guide is the main page, the classic DOM guide is
# md_docs_classic_dom; the other documents of docs/ are not in the reference,
# so a link to one of them becomes its name in the source tree.
s/href="guide\.md"/href="index.html"/g
s/](guide\.md)/](index.html)/g
s/href="classic-dom\.md"/href="md_docs_classic_dom.html"/g
s/](classic-dom\.md)/](md_docs_classic_dom.html)/g
s|<a href="\([a-z-]*\)\.md">[^<]*</a>|`docs/\1.md`|g
s|\[\([^]]*\)\](\([a-z-]*\)\.md)|\1 (`docs/\2.md`)|g
