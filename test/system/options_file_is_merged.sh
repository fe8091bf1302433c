#!/bin/bash
# -p replaces an option in its place, appends new ones and adds providers.
. "$(dirname "$0")/common.sh"

config '<provider_options><provider name="memory">
  <option id="quick"><variable name="V">1</variable></option>
  <option id="full"><variable name="V">2</variable></option>
</provider></provider_options>'
cat >more.xml <<'END'
<provider_options>
  <provider name="MEMORY">
    <option id="more"><variable name="V">4</variable></option>
    <option id="quick" timeout="90"><variable name="V">3</variable></option>
  </provider>
  <provider name="other"><option id="only"/></provider>
</provider_options>
END
for name in memory other; do
  provider "$name.xml" "sh -c 'echo \$V,\$ZELK_TIMEOUT >>order'"
done

run -A -p more.xml -f memory.xml -f other.xml
expect_status 0
expect_stderr
expect "$(tr '\n' ' ' <order)" "3,90 2,60 4,60 ,60 "
expect "$(for file in $(results); do text_at "$file" 656 60; echo; done | sort | tr '\n' ' ')" \
  "full more only quick "
