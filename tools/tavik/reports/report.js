(function () {
  'use strict';
  var bar = document.getElementById('filter');
  if (bar) {
    var text = document.getElementById('filter-text'), result = document.getElementById('filter-result');
    var shown = document.getElementById('filter-shown');
    var items = Array.prototype.map.call(document.querySelectorAll('[data-result]'), function (element) {
      return {element: element, text: (element.querySelector('summary,th') || element).textContent.toLowerCase()};
    });
    var sections = document.querySelectorAll('[data-section]');
    var apply = function () {
      var words = text.value.toLowerCase().trim(), count = 0;
      items.forEach(function (item) {
        var wanted = (!result.value || item.element.dataset.result === result.value) && item.text.indexOf(words) >= 0;
        item.element.hidden = !wanted;
        if (wanted) ++count;
      });
      Array.prototype.forEach.call(sections, function (section) {
        section.hidden = !section.querySelector('[data-result]:not([hidden])');
        if (section.tagName === 'DETAILS' && (words || result.value) && !section.hidden) section.open = true;
      });
      shown.value = count + ' of ' + items.length + ' shown';
    };
    bar.hidden = false;
    var wait;
    text.addEventListener('input', function () { clearTimeout(wait); wait = setTimeout(apply, items.length > 2000 ? 250 : 0); });
    result.addEventListener('change', apply);
    bar.addEventListener('submit', function (event) { event.preventDefault(); apply(); });
    apply();
  }
  var opened = [];
  addEventListener('beforeprint', function () {
    opened = Array.prototype.filter.call(document.querySelectorAll('details:not([hidden])'), function (d) { return !d.open; });
    if (opened.length > 200) opened = [];
    opened.forEach(function (d) { d.open = true; });
  });
  addEventListener('afterprint', function () { opened.forEach(function (d) { d.open = false; }); });
})();
