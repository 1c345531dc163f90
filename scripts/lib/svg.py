#!/usr/bin/env python3
"""What the drawn charts of docs/pictures/ share: the card that they stand on, their style in light and dark, their texts."""


def card(width, height, title, description, light="", dark=""):
    """The beginning of a picture; light and dark: further rules of style."""
    return f'''<svg xmlns="http://www.w3.org/2000/svg" viewBox="0 0 {width} {height}" width="{width}" height="{height}" role="img" aria-labelledby="t d">
<title id="t">{title}</title>
<desc id="d">{description}</desc>
<style>
  text {{ font: 15px sans-serif; fill: #1c2733 }} .small {{ font-size: 13px; fill: #4a5866 }} .name {{ font-weight: bold }}
  .card {{ fill: #fbfcfe; stroke: #c9d3de }} .thin {{ stroke: #c9d3de }} .full {{ stroke: #a8452a; stroke-dasharray: 3 3 }}
{light}  @media (prefers-color-scheme: dark) {{
    text {{ fill: #e4ebf2 }} .small {{ fill: #b3c0cd }} .card {{ fill: #171e26; stroke: #36434f }} .thin {{ stroke: #36434f }}
    .full {{ stroke: #e58a6d }}{dark}
  }}
</style>
<rect class="card" x="1" y="1" width="{width - 2}" height="{height - 2}" rx="10"/>'''


def text(x, y, words, anchor="middle", kind="small"):
    return f'<text class="{kind}" x="{x:.0f}" y="{y:.0f}" text-anchor="{anchor}">{words}</text>'


def counted(number):
    return f"{number:,}"


def write(picture, drawn):
    picture.write_text("\n".join(drawn) + "\n</svg>\n", encoding="ascii")
