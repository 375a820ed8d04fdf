#!/bin/sh
# Opens a report in a browser without a screen: the contents' links lead to the headings in the main frame, the
# rows shown are the macros of the run, the style sheet is in force, and there is something to look at.
#
# usage: tests/browser_test.sh [program]      default: $CPP_PROGRAM
set -eu

program=${1:-${CPP_PROGRAM:?no program named}}
browser=$(command -v chromium || command -v chromium-browser || command -v google-chrome) || {
  echo "skipped: no chromium on this machine"
  exit 77
}
scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT
cp "$(dirname "$program")/../dat/udf_styles.css" "$scratch"
cd "$scratch"

browse() {
  timeout 120 "$browser" --headless --no-sandbox --disable-gpu --disable-quic --no-first-run \
    --disable-background-networking --disable-component-update --disable-sync --user-data-dir="$scratch/profile" \
    --allow-file-access-from-files --virtual-time-budget=20000 --window-size=900,700 "$@" 2>browser.log
}

printf '#define ADD(a, b) ((a) + (b))\n#define EMPTY()\n#define LESS a <b && c\n#define HIGH "\310"\nADD(1, 2) LIMIT\n' >in.c
"$program" -DLIMIT=5 --udf=x.html in.c >out.i

# Browsers of today ignore frames below a body, so the page itself must load and the frames are tried without it.
browse --dump-dom "file://$scratch/x.html" | grep -q '<title>CPP information for x.html</title>'
sed '/<BODY>/d' x.html >frames.html
cat >driver.html <<'PAGE'
<iframe id="frames" src="frames.html" width="900" height="300"></iframe><pre id="result"></pre>
<script>
onload = async () => {
  const {toc, main} = document.getElementById("frames").contentWindow.frames, seen = [];
  const until = async test => { while (!test()) await new Promise(done => setTimeout(done, 10)); };
  for (const link of toc.document.links) {
    link.click();
    await until(() => main.location.href == link.href && main.document.readyState == "complete");
    const anchor = main.document.getElementsByName(link.hash.slice(1))[0];
    seen.push(link.text + " -> " + anchor.querySelector("h2").textContent);
  }
  seen.push("arguments: " + [...main.document.querySelectorAll("h2 ~ code")].slice(1).map(e => e.textContent).join(" "));
  const rows = [...main.document.querySelectorAll("tr")].map(row => [...row.cells].map(e => e.textContent));
  main.scrollTo(0, 1e6);
  seen.push("scrolled: " + (main.scrollY > 0) + ", heading at " + main.document.querySelector("td").getBoundingClientRect().y);
  seen.push(...rows.map(row => row.slice(0, /^__[DT]/.test(row[0]) ? 2 : 3).join(" | ").replace(/</g, "[")).sort());
  document.getElementById("result").textContent = seen.join("\n");
};
</script>
PAGE
browse --dump-dom "file://$scratch/driver.html" | sed -n '/<pre/,/<\/pre>/p' | sed 's/.*<pre id="result">//; s/<\/pre>.*//' >shown
sed 's/&amp;/\&/g; s/&gt;/>/g' shown >rows
cat >expected <<'ROWS'
Command Line Arguments for CPP -> Command Line Arguments for CPP
CPP symbol table -> CPP symbol table
arguments: in.c --udf=x.html in.c
scrolled: true, heading at 0
ADD | 2 | (([0>) + ([1>))
ADD | 2 | (([0>) + ([1>))
EMPTY | empty | 
HIGH | none | "[\0310>"
LESS | none | a 
LIMIT | none | 5
LIMIT | none | 5
Macro name | Arguments | Value
__DATE__ | none
__FILE__ | none | dynamic replacement
__LINE__ | none | dynamic replacement
__STDC__ | none | 1
__TIME__ | none
ROWS
diff -u expected rows

browse --screenshot="$scratch/report.png" "file://$scratch/frames.html"
test "$(wc -c <report.png)" -gt 10000
