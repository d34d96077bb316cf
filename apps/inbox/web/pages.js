// Lists the pages of the inbox, newest first, with a picture of each.

async function show() {
  const response = await fetch("/api/pages?limit=200");
  const { pages } = await response.json();
  document.getElementById("pages").replaceChildren(...pages.map(item));
}

function item(page) {
  const entry = document.createElement("li");
  entry.textContent = page.title || page.address;
  if (page.kind === "ink") {
    const picture = document.createElement("img");
    picture.src = `/api/pages/${page.id}/picture.png?size=200&revision=${page.revision}`;
    picture.alt = "";
    entry.prepend(picture);
  }
  return entry;
}

for (const event of ["page", "gone", "back", "reset"]) {
  source().addEventListener(event, show);
}

function source() {
  source.events ??= new EventSource("/api/events");
  return source.events;
}

show();
