#!/usr/bin/env python3
"""Writes the demo's sample access logs into sample/logs/.

One small web site, www.example.com, over the week of 4 to 10 March 2024,
as three servers logged it:

  access-2024-03-04.log  Common Log Format (4-5 March, an old front end
                         that logged no referrers or agents)
  ex240306.log           W3C extended format written by IIS (6-7 March)
  access.log             Apache combined format (8-10 March)

Visitors come from a few hundred hosts (names under many top-level domains
and bare addresses), browse the site's pages with their images, arrive from
other sites and from search engines with the phrases they searched for, and
now and then follow a dead link (404).  The output is fixed by the seed, so
running this again gives the same files byte for byte.
"""

import datetime
import os
import random

SEED = 2024
SITE = "http://www.example.com"
HERE = os.path.dirname(os.path.abspath(__file__))
OUT = os.path.join(HERE, "logs")

PAGES = [
    "/", "/index.html", "/about.html", "/contact.html", "/news/", "/news/2024-02.html",
    "/news/2024-03.html", "/products/", "/products/lantern.html", "/products/wick.html",
    "/products/oil.html", "/products/glass.html", "/support/", "/support/faq.html",
    "/support/manual.html", "/support/download.html", "/blog/", "/blog/first-light.html",
    "/blog/night-walks.html", "/blog/camping-list.html", "/blog/repairs.html",
    "/gallery/", "/gallery/evening.html", "/gallery/harbour.html", "/shop/cart.cgi",
    "/shop/checkout.cgi", "/search.cgi", "/sitemap.html", "/privacy.html", "/jobs.html",
]
IMAGES = ["/img/logo.gif", "/img/banner.jpg", "/img/lantern.jpg", "/img/arrow.gif",
          "/img/bg.png", "/css/site.css", "/favicon.ico"]
# Links to pages that are gone, and where they are still linked from.
DEAD = ["/products/candle.html", "/old/index.htm", "/blog/draft.html", "/img/old-logo.gif",
        "/support/manual.pdf", "/news/1999.html"]
DEAD_LINKERS = ["http://www.lamps-forum.example.net/thread/812",
                "http://old-links.example.org/lighting.html",
                "http://www.hobby-pages.example.de/links.htm"]

OTHER_SITES = [
    "http://www.lamps-forum.example.net/thread/812", "http://www.camping.example.org/gear.html",
    "http://blog.nightsky.example.com/2024/02/lanterns", "http://www.hobby-pages.example.de/links.htm",
    "http://news.example.co.uk/outdoors/", "http://www.example.fr/lumiere.html",
    "http://directory.example.jp/shopping/outdoor/",
]

# (host, parameter, how the phrase is written into the query)
ENGINES = [
    ("http://www.google.com/search", "q", "hl=en&q={}"),
    ("http://search.yahoo.com/bin/search", "p", "p={}"),
    ("http://www.altavista.com/cgi-bin/query", "q", "pg=q&kl=XX&q={}"),
    ("http://www.lycos.com/cgi-bin/pursuit", "query", "query={}&cat=lycos"),
    ("http://search.excite.com/search.gw", "search", "search={}"),
    ("http://www.ask.com/main/askjeeves.asp", "ask", "ask={}&origin=0"),
    ("http://search.msn.com/results.asp", "MT", "RS=CHECKED&MT={}"),
    ("http://www.hotbot.com/", "MT", "MT={}&SM=MC"),
    ("http://www.dogpile.com/search", "q", "q={}"),
]
PHRASES = ["oil lantern", "lantern wick", "hurricane lantern", "camping light",
           "how to trim a wick", "lantern glass replacement", "example lanterns",
           "paraffin lamp", "Oil Lantern", "storm lantern repair", "brass lantern",
           "lantern oil smell"]

AGENTS = [
    "Mozilla/5.0 (Windows NT 10.0; Win64; x64) AppleWebKit/537.36 (KHTML, like Gecko) Chrome/122.0.0.0 Safari/537.36",
    "Mozilla/5.0 (Macintosh; Intel Mac OS X 14_3) AppleWebKit/605.1.15 (KHTML, like Gecko) Version/17.3 Safari/605.1.15",
    "Mozilla/5.0 (X11; Linux x86_64; rv:123.0) Gecko/20100101 Firefox/123.0",
    "Mozilla/5.0 (iPhone; CPU iPhone OS 17_3 like Mac OS X) AppleWebKit/605.1.15 (KHTML, like Gecko) Version/17.3 Mobile/15E148 Safari/604.1",
    "Mozilla/4.0 (compatible; MSIE 6.0; Windows NT 5.1)",
    "Mozilla/4.0 (compatible; MSIE 5.5; Windows 98)",
    "Mozilla/4.76 [en] (Windows NT 5.0; U)",
    "Mozilla/4.7 [de] (X11; I; Linux 2.2.14 i686)",
    "Lynx/2.8.9rel.1 libwww-FM/2.14",
    "Wget/1.21.4",
    "Googlebot/2.1 (+http://www.google.com/bot.html)",
]
AGENT_WEIGHTS = [30, 14, 10, 12, 6, 3, 4, 2, 1, 1, 5]

TLDS = ["com", "net", "org", "edu", "de", "uk", "fr", "jp", "au", "ca", "nl", "se", "it"]
WORDS = ["dialup", "cable", "dsl", "proxy", "gw", "ws", "pc", "host", "mail", "lab"]


def make_hosts(rng):
    hosts = []
    for i in range(260):
        if rng.random() < 0.35:
            hosts.append("%d.%d.%d.%d" % (rng.choice([24, 62, 81, 130, 192, 203, 212]),
                                          rng.randrange(256), rng.randrange(256),
                                          rng.randrange(1, 255)))
        else:
            tld = rng.choice(TLDS)
            org = "isp%d" % rng.randrange(40)
            sub = "%s%d" % (rng.choice(WORDS), rng.randrange(1, 400))
            if tld in ("uk", "jp", "au"):
                hosts.append("%s.%s.co.%s" % (sub, org, tld))
            else:
                hosts.append("%s.%s.%s" % (sub, org, tld))
    return hosts


def visit_times(rng, day, count):
    """Seconds into `day` for `count` requests, more by day than by night."""
    times = []
    while len(times) < count:
        t = rng.randrange(86400)
        hour = t // 3600
        weight = 0.25 if hour < 7 else (1.0 if hour < 19 else 0.6)
        if day.weekday() >= 5:
            weight *= 0.7
        if rng.random() < weight:
            times.append(t)
    return sorted(times)


def search_referrer(rng):
    base, _, query = rng.choice(ENGINES)
    phrase = rng.choice(PHRASES).replace(" ", "+")
    return base + "?" + query.format(phrase)


def one_request(rng, hosts):
    """A request: host, URL, status, bytes, referrer ("" for none), agent."""
    host = rng.choice(hosts)
    agent = rng.choices(AGENTS, AGENT_WEIGHTS)[0]
    roll = rng.random()
    if roll < 0.04:
        url = rng.choice(DEAD)
        referrer = rng.choice(DEAD_LINKERS) if rng.random() < 0.6 else SITE + rng.choice(PAGES)
        return host, url, 404, 0, referrer, agent
    if roll < 0.40:
        url = rng.choice(IMAGES)
        return host, url, 200, rng.randrange(300, 40000), SITE + rng.choice(PAGES), agent
    url = rng.choices(PAGES, [8, 4] + [1] * (len(PAGES) - 2))[0]
    if url == "/search.cgi":
        url += "?words=" + rng.choice(["wick", "glass", "oil"])
    kind = rng.random()
    if kind < 0.18:
        referrer = search_referrer(rng)
    elif kind < 0.30:
        referrer = rng.choice(OTHER_SITES)
    elif kind < 0.75:
        referrer = SITE + rng.choice(PAGES)
    else:
        referrer = ""
    status = 304 if rng.random() < 0.05 else 200
    size = 0 if status == 304 else rng.randrange(1500, 30000)
    return host, url, status, size, referrer, agent


def clf_stamp(when):
    return when.strftime("%d/%b/%Y:%H:%M:%S +0000")


def write_clf(rng, hosts, days, path):
    with open(path, "w", newline="\n") as out:
        for day in days:
            for t in visit_times(rng, day, 500):
                host, url, status, size, _, _ = one_request(rng, hosts)
                when = day + datetime.timedelta(seconds=t)
                out.write('%s - - [%s] "GET %s HTTP/1.0" %d %s\n'
                          % (host, clf_stamp(when), url, status, size if size else "-"))


def write_combined(rng, hosts, days, path):
    with open(path, "w", newline="\n") as out:
        for day in days:
            for t in visit_times(rng, day, 650):
                host, url, status, size, referrer, agent = one_request(rng, hosts)
                when = day + datetime.timedelta(seconds=t)
                out.write('%s - - [%s] "GET %s HTTP/1.1" %d %s "%s" "%s"\n'
                          % (host, clf_stamp(when), url, status, size if size else "-",
                             referrer or "-", agent))


def write_w3c(rng, hosts, days, path):
    with open(path, "w", newline="") as out:
        out.write("#Software: Microsoft Internet Information Server 4.0\r\n")
        out.write("#Version: 1.0\r\n")
        out.write("#Date: %s 00:00:00\r\n" % days[0].strftime("%Y-%m-%d"))
        out.write("#Fields: date time c-ip cs-username s-ip cs-method cs-uri-stem cs-uri-query "
                  "sc-status sc-bytes cs(User-Agent) cs(Referer)\r\n")
        for day in days:
            for t in visit_times(rng, day, 500):
                host, url, status, size, referrer, agent = one_request(rng, hosts)
                if not host[0].isdigit():  # IIS logs the client's address only
                    host = "198.51.100.%d" % (sum(map(ord, host)) % 250 + 1)
                stem, _, query = url.partition("?")
                when = day + datetime.timedelta(seconds=t)
                out.write("%s %s %s - 192.0.2.10 GET %s %s %d %d %s %s\r\n"
                          % (when.strftime("%Y-%m-%d"), when.strftime("%H:%M:%S"), host, stem,
                             query or "-", status, size, agent.replace(" ", "+"),
                             referrer or "-"))


def main():
    rng = random.Random(SEED)
    hosts = make_hosts(rng)
    os.makedirs(OUT, exist_ok=True)
    start = datetime.datetime(2024, 3, 4)
    days = [start + datetime.timedelta(days=i) for i in range(7)]
    write_clf(rng, hosts, days[0:2], os.path.join(OUT, "access-2024-03-04.log"))
    write_w3c(rng, hosts, days[2:4], os.path.join(OUT, "ex240306.log"))
    write_combined(rng, hosts, days[4:7], os.path.join(OUT, "access.log"))


if __name__ == "__main__":
    main()
