#!/bin/sh
# Opens a report in a browser without a screen: the contents' links lead to the headings in the main frame, the
# rows shown are the macros of the run, and the style sheet is in force. That report and the page of qv4-report can be
# read from 360 to 1,600 px, light and dark; the latter sorts and searches, and text of a macro in it is text.
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

# What makes a page unreadable: text beyond its edge, columns of a few letters, text too close to its ground.
{
  printf '#define MOVE(to, from) do { (to) = %s(from); } while (0)\n' "$(printf '((uint32_t)(REGISTER_%s)) | ' 1 2 3 4 5 6 7 8)"
  # shellcheck disable=SC2016 # a script's backquotes
  printf '#define A_NAME_AS_LONG_AS_IT_MAY_BE_31_ "</td><script>document.title = `run`</script>"\n'
  printf '#define ID(x) x\nID(ID(2) A_NAME_AS_LONG_AS_IT_MAY_BE_31_)\nMOVE(ID(z), ID(a))\n'
} >wide.c
"$program" --udf=wide.html wide.c >out.i
"$(dirname "$program")/qv4-report" wide.c page.html
cat >widths.html <<'PAGE'
<style>:root { color-scheme: light dark }</style><pre id="result"></pre><script>
const light = c => c.match(/\d+/g).slice(0, 3).map(v => (v /= 255) <= .04 ? v / 12.92 : ((v + .055) / 1.055) ** 2.4)
  .reduce((sum, v, i) => sum + v * [.2126, .7152, .0722][i], .05);
onload = async () => {
  const wrong = [], dark = matchMedia("(prefers-color-scheme: dark)").matches;
  for (const width of [360, 420, 719, 721, 801, 1600]) for (const page of ["main_wide.html", "page.html"]) {
    const frame = Object.assign(document.createElement("iframe"), {src: page, width, height: 600});
    await new Promise(done => { frame.onload = done; document.body.append(frame); });
    const shown = frame.contentDocument, ground = shown.body, look = e => frame.contentWindow.getComputedStyle(e);
    const check = (good, what) => good || wrong.push(page + " " + width + (dark ? " dark " : " light ") + what);
    check(shown.documentElement.scrollWidth <= width, "scrolls sideways");
    check(light(look(ground).backgroundColor) < .5 == dark, "has the other scheme's ground");
    for (const cell of shown.querySelectorAll("td")) {
      const room = cell.clientWidth / parseFloat(look(cell).fontSize), text = cell.textContent.slice(0, 30);
      check(room >= Math.min(text.length * .6, page == "page.html" ? 4 : 8), "has a narrow cell: " + text);
      const own = look(cell).backgroundColor, back = light(/, 0\)/.test(own) ? look(ground).backgroundColor : own);
      const fore = light(look(cell).color);
      check(Math.max(fore, back) / Math.min(fore, back) >= 4.5, "has a pale cell: " + text);
    }
    if (page != "page.html") continue;
    const rows = () => [...shown.querySelectorAll("tbody")[0].rows].filter(r => !r.hidden).map(r => r.cells[0].textContent);
    const search = shown.getElementById("search"), heads = shown.querySelectorAll("th button");
    heads[4].click(); heads[0].click(); heads[0].click();
    search.value = "wide.c ID("; search.dispatchEvent(new frame.contentWindow.Event("input"));
    const found = rows().filter(text => text.startsWith("ID")).join();
    check(found == "ID(a),ID(z),ID(2),ID(ID(2) A_NAME_AS_LONG_AS_IT_MAY_BE_31_)", "sorts or finds wrongly: " + found);
    check(shown.title == "Macros of wide.c" && shown.scripts.length == 1, "has run a macro's text");
  }
  document.getElementById("result").textContent = [...wrong.slice(0, 9), wrong.length + " wrong"].join("\n");
};
</script>
PAGE
for scheme in 0 1; do
  browse --blink-settings=preferredColorScheme=$scheme --dump-dom "file://$scratch/widths.html" >dom
  sed -n '/<pre/,/<\/pre>/p' dom | grep -q '>0 wrong<' || { sed -n '/<pre/,/<\/pre>/p' dom; exit 1; }
  for page in main_wide page; do
    browse --blink-settings=preferredColorScheme=$scheme --screenshot="$scratch/$page$scheme.png" "file://$scratch/$page.html"
    test "$(wc -c <"$page$scheme.png")" -gt 10000
  done
done
! cmp -s page0.png page1.png
